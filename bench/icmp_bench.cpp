// What an ICMP probe packet costs: CPU time of the whole process, user and system.
//
//   1. 1,000 loopback targets, 5 requests a second each, against fping sending as many to the same
//      targets, in turns; fping at the setting that is cheapest for it.
//   2. 10,000 targets once a second: the part of a core that it takes and false losses, in turns
//   with
//      the system calls of these requests alone; over loopback, and behind a device.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/BareEcho.h"
#include "bench/EchoLoad.h"
#include "bench/FarEnd.h"

namespace {

using bench::addressOf, bench::cpuSeconds, bench::Figures, bench::kRequests;
using Monitor::Clock;
using namespace std::chrono_literals;

constexpr int kLoopback = 127, kFarEnd = 10;  ///< Networks.

/// Runs fping over the targets in the file, as many requests each; null figures when it can't.
Figures runFping(const std::string& file, int targets, const char* gapMs) {
  const std::string count = std::to_string(kRequests);
  const double before = cpuSeconds(RUSAGE_CHILDREN);
  const auto begun = Clock::now();
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stdout) != nullptr &&
        std::freopen("/dev/null", "w", stderr) != nullptr) {
      execlp("fping", "fping", "-q", "-c", count.c_str(), "-p", "1000", "-i", gapMs, "-f",
             file.c_str(), static_cast<char*>(nullptr));
    }
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) ||
      WEXITSTATUS(status) != 0) {
    return {};
  }
  Figures figures;
  figures.cpu = cpuSeconds(RUSAGE_CHILDREN) - before;
  figures.wall = std::chrono::duration<double>(Clock::now() - begun).count();
  figures.packets = static_cast<long>(targets) * kRequests;
  return figures;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

bool judge(const std::string& what, double value, double atMost) {
  const bool met = value <= atMost;
  std::printf("%-66s = %6.2f  (at most %.2f: %s)\n", what.c_str(), value, atMost,
              met ? "met" : "MISSED");
  return met;
}

void tell(const std::string& what, double value) {
  std::printf("%-66s = %6.2f  (no target)\n", what.c_str(), value);
}

bool againstFping() {
  constexpr int kTargets = 1000;
  constexpr int kTurns = 5;
  const std::string file = "/tmp/icmp_bench." + std::to_string(getpid());
  std::ofstream list(file);
  for (int i = 0; i < kTargets; ++i) {
    list << addressOf(kLoopback, i) << '\n';
  }
  list.close();
  std::vector<double> ours, burst, paced;
  bench::EchoLoad prober(kLoopback, kTargets, kRequests);
  for (int turn = 0; turn < kTurns; ++turn) {
    const Figures own = prober.run(4);
    const Figures atOnce = runFping(file, kTargets, "0");
    const Figures spread = runFping(file, kTargets, "1");
    if (atOnce.packets == 0 || spread.packets == 0) {
      std::printf("fping is missing or failed: no comparison\n");
      std::remove(file.c_str());
      return false;
    }
    ours.push_back(own.microsecondsEach());
    burst.push_back(atOnce.microsecondsEach());
    paced.push_back(spread.microsecondsEach());
    std::printf(
        "1,000 targets: %.2f us a packet here (mean rtt %.4f ms, lost %ld); fping %.2f at "
        "once, %.2f spread\n",
        own.microsecondsEach(), own.meanMs, own.lost, atOnce.microsecondsEach(),
        spread.microsecondsEach());
  }
  std::remove(file.c_str());
  const double peer = std::min(median(burst), median(paced));
  return judge("CPU per packet, 1,000 targets, to fping's", median(ours) / peer, 1.0);
}

/// The part of a core that the bare system calls take for what the prober sends.
Figures runBare(BareEcho& bare, int targets) {
  const double cpu = cpuSeconds(RUSAGE_SELF);
  const long sent = bare.sent();
  const auto begun = Clock::now();
  bare.run(3s, targets * kRequests);
  Figures figures;
  figures.cpu = cpuSeconds(RUSAGE_SELF) - cpu;
  figures.wall = std::chrono::duration<double>(Clock::now() - begun).count();
  figures.packets = bare.sent() - sent;
  return figures;
}

/// 10,000 targets of `network`, once a second.
struct AtScale {
  AtScale(int network, int requests) : prober(network, kTargets, requests) { prober.run(1); }

  void turn() {
    const Figures figures = prober.run(4);
    cores.push_back(figures.cores());
    all.lost += figures.lost;
    all.rounds += figures.rounds;
    all.unmeasured += figures.unmeasured;
    all.meanMs = figures.meanMs;
  }

  [[nodiscard]] bool noneLost() const {
    std::printf("    %-32s %12ld\n", "rounds", all.rounds);
    prober.printCounters();
    const bool lost = judge("    false losses", static_cast<double>(all.lost), 0);
    const bool measured =
        judge("    rounds not measured (overloaded)", static_cast<double>(all.unmeasured), 0);
    return lost && measured;
  }

  static constexpr int kTargets = 10'000;
  bench::EchoLoad prober;
  Figures all;
  std::vector<double> cores;
};

constexpr int kTurns = 3;

/// The part of a core that the bare system calls take, in turns with the prober's.
std::vector<double> inTurnsWithBare(AtScale& load, int network) {
  std::vector<std::string> addresses;
  for (int i = 0; i < AtScale::kTargets; ++i) {
    addresses.push_back(addressOf(network, i));
  }
  BareEcho bare(addresses);
  std::vector<double> cores;
  for (int turn = 0; turn < kTurns; ++turn) {
    load.turn();
    cores.push_back(runBare(bare, AtScale::kTargets).cores());
  }
  std::printf("    %-32s %12ld of %ld\n", "answered to the bare system calls", bare.answered(),
              bare.sent());
  return cores;
}

bool overLoopback() {
  std::printf(
      "\n10,000 targets over loopback. Here a system call that sends a request also runs the "
      "target's\nend and the way back: the sender pays for all of it.\n");
  AtScale load(kLoopback, kRequests);
  const std::vector<double> bare = inTurnsWithBare(load, kLoopback);
  tell("cores, 5 requests a round", median(load.cores));
  tell("cores, the system calls of these requests alone", median(bare));
  tell("mean round-trip time of the last turn, microseconds", load.all.meanMs * 1e3);
  return load.noneLost();
}

bool overFarEnd() {
  std::printf(
      "\n10,000 targets behind a TUN device, answered by another process, which pays for the "
      "target's\nend and for the way back up to the prober's socket. The prober pays for sending, "
      "and for reading.\n");
  std::optional<FarEnd> farEnd;
  try {
    farEnd.emplace();
  } catch (const std::runtime_error& error) {
    std::printf("not measured, this machine can't: %s\n", error.what());
    return false;
  }
  bool met = true;
  {
    AtScale load(kFarEnd, 1);
    for (int turn = 0; turn < kTurns; ++turn) {
      load.turn();
    }
    met = judge("cores, 1 request a round", median(load.cores), 0.5) && met;
    met = load.noneLost() && met;
  }
  AtScale load(kFarEnd, kRequests);
  const double answering = farEnd->cpuSeconds();
  const auto begun = Clock::now();
  const std::vector<double> bare = inTurnsWithBare(load, kFarEnd);
  const std::chrono::duration<double> wall = Clock::now() - begun;
  met = judge("cores, 5 requests a round", median(load.cores), 0.5) && met;
  tell("cores, the system calls of these requests alone", median(bare));
  tell("cores, the answering process", (farEnd->cpuSeconds() - answering) / wall.count());
  return load.noneLost() && met;
}

}  // namespace

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  // All sides before whatever else the machine does, where that is allowed.
  static_cast<void>(setpriority(PRIO_PROCESS, 0, -15));
  const bool peer = againstFping();
  const bool loopback = overLoopback();
  const bool farEnd = overFarEnd();  // the last: nothing else is reached from there
  return peer && loopback && farEnd ? 0 : 1;
}

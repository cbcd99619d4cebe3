// What an ICMP probe packet costs: CPU time of the whole process, user and system, over loopback.
//
//   1. 1,000 targets, 5 requests a second each, against fping sending as many to the same targets,
//      in turns; fping at the setting that is cheapest for it.
//   2. 10,000 targets once a second: the part of a core that it takes and false losses, with 1 and
//      with 5 requests a round; in turns with the system calls of those 5 alone.
#include <event2/event.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/BareEcho.h"
#include "monitor/icmp/IcmpProber.h"

namespace {

using namespace std::chrono_literals;
using Monitor::Clock;

constexpr int kRequests = 5;
constexpr auto kGap = 20ms;
constexpr auto kInterval = 1s;

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

double cpuSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The n-th of the targets, all on loopback.
std::string addressOf(int n) {
  return "127." + std::to_string(1 + n / 62500) + "." + std::to_string(n / 250 % 250) + "." +
         std::to_string(n % 250 + 1);
}

struct Figures {
  double cpu = 0;   ///< Seconds.
  double wall = 0;  ///< Seconds.
  long packets = 0;
  long lost = 0;
  long rounds = 0;
  long unmeasured = 0;
  double meanMs = 0;

  [[nodiscard]] double microsecondsEach() const { return cpu * 1e6 / static_cast<double>(packets); }
  [[nodiscard]] double cores() const { return cpu / wall; }
};

/// Targets measured every second, their rounds spread over it.
class Prober {
 public:
  Prober(int targets, int requests)
      : requests_(requests), base_(event_base_new(), event_base_free), loop_{base_.get()} {
    prober_ = std::make_unique<Monitor::IcmpProber>(loop_);
    if (const auto why = prober_->unavailable()) {
      std::fprintf(stderr, "%s\n", why->c_str());
      std::exit(2);
    }
    for (int i = 0; i < targets; ++i) {
      Monitor::ProbeSpec spec;
      spec.address = *Monitor::IpAddress::parse(addressOf(i));
      spec.interval = kInterval;
      spec.timeout = kInterval - requests * kGap - 50ms;
      spec.parameters = Monitor::IcmpParameters{static_cast<std::uint16_t>(requests), kGap};
      probes_.push_back(prober_->probe(spec, [this, i](const Monitor::Result& result) {
        underWay_[static_cast<std::size_t>(i)] = false;
        count(result);
      }));
    }
    underWay_.resize(probes_.size());
  }

  Figures run(int intervals) {
    figures_ = {};
    next_ = 0;
    last_ = static_cast<long>(probes_.size()) * intervals;
    begun_ = Clock::now();
    const double cpu = cpuSeconds(RUSAGE_SELF);
    std::unique_ptr<event, decltype(&event_free)> beat(
        event_new(
            base_.get(), -1, EV_PERSIST,
            [](evutil_socket_t, short, void* self) { static_cast<Prober*>(self)->start(); }, this),
        event_free);
    const timeval tick{0, 2000};
    event_add(beat.get(), &tick);
    event_base_dispatch(base_.get());
    figures_.cpu = cpuSeconds(RUSAGE_SELF) - cpu;
    figures_.wall = std::chrono::duration<double>(Clock::now() - begun_).count();
    figures_.meanMs /= static_cast<double>(std::max(1L, figures_.rounds - figures_.unmeasured));
    return figures_;
  }

  void printCounters() const {
    for (const Monitor::Counter& counter : prober_->counters()) {
      if (counter.value > 0) {
        std::printf("    %-32s %12llu\n", std::string(counter.name).c_str(),
                    static_cast<unsigned long long>(counter.value));
      }
    }
  }

 private:
  void start() {
    const auto since = Clock::now() - begun_;
    const auto size = static_cast<long>(probes_.size());
    for (; next_ < last_ && kInterval * next_ / size <= since; ++next_) {
      const auto target = static_cast<std::size_t>(next_ % size);
      if (underWay_[target]) {  // its answers are more than an interval late
        count({});
        continue;
      }
      underWay_[target] = true;
      probes_[target]->start();
    }
    if (figures_.rounds == last_) {
      event_base_loopbreak(base_.get());
    }
  }

  void count(const Monitor::Result& result) {
    ++figures_.rounds;
    if (result.outcome == Monitor::Outcome::kNotMeasured ||
        result.outcome == Monitor::Outcome::kOverloaded) {
      ++figures_.unmeasured;
      return;
    }
    const auto& measured = std::get<Monitor::IcmpMeasurement>(result.measured);
    figures_.packets += requests_;
    figures_.lost += static_cast<long>(measured.lossPercent * requests_ / 100 + 0.5);
    figures_.meanMs += measured.meanMs;
  }

  int requests_;  ///< A round.
  std::unique_ptr<event_base, decltype(&event_base_free)> base_;
  Monitor::Loop loop_;
  std::unique_ptr<Monitor::IcmpProber> prober_;
  std::vector<std::unique_ptr<Monitor::Probe>> probes_;
  std::vector<bool> underWay_;
  Figures figures_;
  Clock::time_point begun_;
  long next_ = 0, last_ = 0;
};

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

bool judge(const char* what, double value, double atMost) {
  const bool met = value <= atMost;
  std::printf("%-58s = %6.2f  (at most %.2f: %s)\n", what, value, atMost, met ? "met" : "MISSED");
  return met;
}

bool againstFping() {
  constexpr int kTargets = 1000;
  constexpr int kTurns = 5;
  const std::string file = "/tmp/icmp_bench." + std::to_string(getpid());
  std::ofstream list(file);
  for (int i = 0; i < kTargets; ++i) {
    list << addressOf(i) << '\n';
  }
  list.close();
  std::vector<double> ours, burst, paced;
  Prober prober(kTargets, kRequests);
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

bool noneLost(const Figures& figures) {
  const bool lost = judge("false losses", static_cast<double>(figures.lost), 0);
  const bool measured = judge("rounds not measured", static_cast<double>(figures.unmeasured), 0);
  return lost && measured;
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

bool atScale() {
  constexpr int kTargets = 10'000;
  constexpr int kTurns = 3;
  bool met = true;
  {
    Prober prober(kTargets, 1);
    prober.run(1);
    const Figures figures = prober.run(5);
    met = judge("cores, 10,000 targets, 1 request a round", figures.cores(), 0.5) && met;
    met = noneLost(figures) && met;
  }
  std::vector<std::string> addresses;
  for (int i = 0; i < kTargets; ++i) {
    addresses.push_back(addressOf(i));
  }
  BareEcho bare(addresses);
  Prober prober(kTargets, kRequests);
  prober.run(1);
  Figures all;
  std::vector<double> cores, bareCores;
  for (int turn = 0; turn < kTurns; ++turn) {
    const Figures own = prober.run(4);
    const Figures floor = runBare(bare, kTargets);
    cores.push_back(own.cores());
    bareCores.push_back(floor.cores());
    all.lost += own.lost;
    all.unmeasured += own.unmeasured;
    std::printf(
        "10,000 targets, %d requests a second each: %.2f us a packet; the "
        "system calls alone %.2f us (%ld of %ld answered)\n",
        kRequests, own.microsecondsEach(), floor.microsecondsEach(), bare.answered(), bare.sent());
  }
  prober.printCounters();
  std::printf("%-58s = %6.2f  (no target)\n", "cores, the system calls of these requests alone",
              median(bareCores));
  met = judge("cores, 10,000 targets, 5 requests a round", median(cores), 0.5) && met;
  return noneLost(all) && met;
}

}  // namespace

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  // Both sides before whatever else the machine does, where that is allowed.
  static_cast<void>(setpriority(PRIO_PROCESS, 0, -15));
  const bool peer = againstFping();
  const bool scale = atScale();
  return peer && scale ? 0 : 1;
}

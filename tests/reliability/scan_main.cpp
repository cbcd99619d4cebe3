/// Four managers walk while the plug-in's agent goes through its initial scan of many records, and
/// again while one that took its place scans them and reconciles the rows with them.
///
/// The running program never does this to its walks: it withdraws all records first. A vendor's
/// host process may. So the host is made here, of the agent's parts and the real plug-in, in a
/// process of its own.
///
/// usage: conmon-scan PLUGIN [--records N]

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "AgentProcess.h"
#include "Host.h"
#include "Managers.h"
#include "Rows.h"

namespace reliability {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStartTries = 5;
constexpr std::size_t kStretch = 2000;  ///< Varbinds a walk, from a random row on.

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The host in a process of its own, from its fork to its end.
class HostProcess {
 public:
  HostProcess(const std::string& plugin, const std::vector<Probe>& probes) {
    for (int tries = 0; tries < kStartTries; ++tries) {
      port_ = bench::freePort();
      spawn(plugin, probes);
      char heard = 0;
      if (::read(reports_, &heard, 1) == 1 && heard == kServing) {
        return;
      }
      end();
    }
    throw std::runtime_error("the host does not come up");
  }
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;
  ~HostProcess() {
    if (pid_ != 0) {
      ::kill(pid_, SIGKILL);
      end();
    }
  }

  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  void goOn() const {
    if (::write(commands_, &kGoOn, 1) != 1) {
      throw std::runtime_error("the host is gone");
    }
  }
  void waitFor(char report) const {
    char heard = 0;
    if (::read(reports_, &heard, 1) != 1 || heard != report) {
      throw std::runtime_error(fmt::format("the host said '{}' in place of '{}'", heard, report));
    }
  }
  /// Its exit status, or 128 and the number of a signal.
  int end() {
    constexpr int kSignalled = 128;
    ::close(commands_);
    ::close(reports_);
    int status = 0;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
  }

 private:
  void spawn(const std::string& plugin, const std::vector<Probe>& probes) {
    int commands[2];
    int reports[2];
    if (::pipe(commands) != 0 || ::pipe(reports) != 0) {
      throw std::runtime_error("no pipe");
    }
    std::fflush(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(commands[1]);
      ::close(reports[0]);
      std::exit(runHost(plugin, port_, probes, commands[0], reports[1]));
    }
    ::close(commands[0]);
    ::close(reports[1]);
    commands_ = commands[1];
    reports_ = reports[0];
  }

  std::uint16_t port_ = 0;
  pid_t pid_ = 0;
  int commands_ = -1;
  int reports_ = -1;
};

/// Walks until the host says that its agent is ready. Returns the varbinds that were met.
std::uint64_t walkUntilReady(const HostProcess& host, const Rows& rows, std::size_t stretch,
                             const char* what) {
  const auto start = Clock::now();
  Managers managers(host.port(), rows, stretch);
  host.waitFor(kReady);
  fmt::print("{}: {:.2f} s\n", what, secondsSince(start));
  managers.stop();
  fmt::print("  {} walks, {} varbinds\n", managers.walks(), managers.varbinds());
  return managers.varbinds();
}

void scan(const std::string& plugin, std::size_t records) {
  const std::vector<Probe> probes = probesOf(records);
  Rows any;
  Rows kept;
  for (const Probe& probe : probes) {
    any.mayBe(probe);
    if (!isChanging(probe.host)) {
      kept.mustBe(probe);
    }
  }
  any.sort();
  kept.sort();
  const Rows both = rowsOf(probes);
  fmt::print("{} records\n", probes.size());

  HostProcess host(plugin, probes);
  host.goOn();
  walkUntilReady(host, any, 0, "initial scan");
  const auto start = Clock::now();
  host.goOn();
  host.waitFor(kStarted);
  fmt::print("a new agent, and a fifth of the records removed before it: {:.2f} s\n",
             secondsSince(start));
  if (walkUntilReady(host, both, kStretch, "initial scan and reconciliation") == 0) {
    throw std::runtime_error("nobody was answered meanwhile");
  }
  expectExactly(host.port(), kept);
  if (const int status = host.end(); status != 0) {
    throw std::runtime_error(fmt::format("the host ended with {}", status));
  }
  fmt::print("  the last walk is exact, and the host ended well\n");
}

}  // namespace
}  // namespace reliability

int main(int argc, char** argv) {
  std::string plugin;
  std::size_t records = 1'000'000;
  CLI::App app("Walks while the plug-in scans and reconciles.", "conmon-scan");
  app.add_option("plugin", plugin, "Path of the plug-in")->required();
  app.add_option("--records", records, "How many")->check(CLI::Range(15, 10'000'000));
  CLI11_PARSE(app, argc, argv);
  try {
    reliability::scan(plugin, records);
    return 0;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "conmon-scan: %s\n", error.what());
    return 1;
  }
}

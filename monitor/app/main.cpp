#include <fmt/format.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "monitor/app/CommandLine.h"
#include "monitor/app/Program.h"
#include "monitor/config/ConfigFile.h"

namespace {

int checkConfig(const std::string& path) {
  try {
    const Monitor::Config config = Monitor::readConfigFile(path);
    fmt::print("{}: good, {} probes\n", path, config.probes.size());
    return 0;
  } catch (const Monitor::ConfigError& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 1;
  }
}

/// Every TCP and HTTP round under way has a descriptor: as many as we may have.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto parsed = Monitor::parseCommandLine(argc, argv);
  if (const auto* ending = std::get_if<Monitor::Ending>(&parsed)) {
    fmt::print(ending->code == 0 ? stdout : stderr, "{}", ending->text);
    return ending->code;
  }
  const auto& line = std::get<Monitor::CommandLine>(parsed);
  if (line.checkOnly) {
    return checkConfig(line.config);
  }
  // A peer that is gone is an error of the write, not the end of the process.
  (void)std::signal(SIGPIPE, SIG_IGN);
  raiseDescriptorLimit();
  try {
    return Monitor::Program(line).run();
  } catch (const std::exception& error) {
    fmt::print(stderr, "<3>conmon-probed: {}\n", error.what());
    return 1;
  }
}

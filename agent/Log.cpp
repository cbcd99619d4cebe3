#include "agent/Log.h"

#include <fmt/format.h>

#include <cstdio>

namespace Agent {

void logLine(const std::string& text) {
  const std::string line = fmt::format("conmon-snmpd: {}\n", text);
  // Not fmt::print, which throws: a reader that is gone or a full disk must not end the service.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace Agent

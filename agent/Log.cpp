#include "agent/Log.h"

#include <fmt/format.h>

#include <cstdio>

namespace Agent {

void logLine(const std::string& text) { fmt::print(stderr, "conmon-snmpd: {}\n", text); }

}  // namespace Agent

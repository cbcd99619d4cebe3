#pragma once

#include <optional>
#include <string>

#include "agent/config/Settings.h"

namespace Agent {

struct CommandLine {
  Settings settings;
  std::optional<std::string> config;
  bool checkConfig = false;
};

/// A text to print and then to end with success: what --help and --version ask for.
struct Printout {
  std::string text;
};

/// Throws ConfigError, naming the option.
[[nodiscard]] std::variant<CommandLine, Printout> parseCommandLine(int argc,
                                                                   const char* const* argv);

}  // namespace Agent

#pragma once

#include <optional>
#include <string>
#include <variant>

namespace Monitor {

struct CommandLine {
  std::string config;
  bool checkOnly = false;                  ///< Check the file and end.
  std::optional<std::string> agentSocket;  ///< In place of the file's.
  std::optional<std::string> statusSocket;
  bool verbose = false;
};

/// A text to print, and the exit code to end with.
struct Ending {
  std::string text;
  int code = 0;
};

[[nodiscard]] std::variant<CommandLine, Ending> parseCommandLine(int argc, const char* const* argv);

}  // namespace Monitor

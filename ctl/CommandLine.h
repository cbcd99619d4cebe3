#pragma once

#include <stdexcept>
#include <string>
#include <variant>

#include "ctl/commands/Commands.h"

namespace Ctl {

/// Where the agent and the prober are found unless the command line says otherwise.
inline constexpr const char* kAgentSocket = "/run/conmon/feed.sock";
inline constexpr const char* kProbedSocket = "/run/conmon-probed/status.sock";

/// A command line that cannot be understood.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CommandLine {
  std::string socket;
  Command command;
};

/// A text to print and then to end with success: what --help and --version ask for.
struct Printout {
  std::string text;
};

/// Throws UsageError.
[[nodiscard]] std::variant<CommandLine, Printout> parseCommandLine(int argc,
                                                                   const char* const* argv);

}  // namespace Ctl

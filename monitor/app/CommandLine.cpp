#include "monitor/app/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

namespace Monitor {

std::variant<CommandLine, Ending> parseCommandLine(int argc, const char* const* argv) {
  CommandLine line;
  CLI::App app("Measures hosts by ICMP, TCP and HTTP and tells conmon-snmpd the results.",
               "conmon-probed");
  app.set_version_flag("--version", fmt::format("conmon-probed {}", CONMON_VERSION));
  app.set_help_flag("--help", "Print this help and exit");
  app.get_formatter()->column_width(34);
  std::string check;
  const auto path = [&](const char* name, auto& to, const char* text) {
    return app.add_option(name, to, text)->type_name("PATH");
  };
  auto* config = path("--config", line.config, "Probe as the file at PATH says (YAML)");
  auto* checkConfig =
      path("--check-config", check, "Check the file at PATH, print what is wrong, and exit")
          ->excludes(config);
  path("--agent-socket", line.agentSocket, "Connect to the agent at PATH, whatever the file says");
  path("--status-socket", line.statusSocket, "Tell the status at PATH, whatever the file says");
  app.add_flag("--verbose", line.verbose, "Log what goes well, too");
  try {
    app.parse(argc, argv);
    if (!*config && !*checkConfig) {
      throw CLI::RequiredError("--config");
    }
  } catch (const CLI::CallForHelp&) {
    return Ending{app.help()};
  } catch (const CLI::CallForVersion& version) {
    return Ending{fmt::format("{}\n", version.what())};
  } catch (const CLI::ParseError& error) {
    return Ending{fmt::format("conmon-probed: {}\n", error.what()), 1};
  }
  if (*checkConfig) {
    line.config = check;
    line.checkOnly = true;
  }
  return line;
}

}  // namespace Monitor

#include "agent/config/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "agent/Version.h"
#include "agent/config/ConfigFile.h"
#include "agent/feed/ContextLimit.h"

namespace Agent {

namespace {

/// `--agentx` without an address. No address can be a lone blank.
constexpr const char* kUsualMaster = " ";

/// A check in CLI11's form: the error's text, empty when all is well.
template <class Check>
CLI::Validator validator(Check check) {
  return {[check](std::string& text) {
            const std::optional<Expected> expected = check(text);
            return expected ? expected->what : std::string();
          },
          ""};
}

std::optional<Expected> checkTrace(std::string_view text) {
  auto parsed = parseTraceLevels(text);
  auto* expected = std::get_if<Expected>(&parsed);
  return expected == nullptr ? std::nullopt : std::optional(std::move(*expected));
}

std::optional<Expected> checkNotEmpty(std::string_view text) {
  return text.empty() ? std::optional(Expected{"expected a path"}) : std::nullopt;
}

}  // namespace

std::variant<CommandLine, Printout> parseCommandLine(int argc, const char* const* argv) {
  CommandLine line;
  Settings& settings = line.settings;
  CLI::App app("Serves a connectivity monitor's results over SNMP.", "conmon-snmpd");
  app.set_version_flag("--version", fmt::format("conmon-snmpd {}", kVersion));
  app.set_help_flag("--help", "Print this help and exit");
  app.get_formatter()->column_width(34);

  std::string trace;
  std::string interfaces;
  long budget = 0;
  long maxContexts = 0;
  const auto path = [&](const char* name, std::optional<std::string>& to, const char* text) {
    app.add_option(name, to, text)->type_name("PATH")->check(validator(checkNotEmpty));
  };
  path("--feed", settings.feed, "Take feed lines on a Unix stream socket at PATH");
  app.add_option("--feed-file", settings.feedFiles,
                 "Read feed lines from PATH at the start; repeatable")
      ->type_name("PATH")
      ->allow_extra_args(false)
      ->check(validator(checkNotEmpty));
  auto* listen =
      app.add_option("--listen", settings.listen,
                     fmt::format("Answer SNMP requests at udp:ADDRESS:PORT, udp6:[ADDRESS]:PORT or "
                                 "tcp:ADDRESS:PORT; repeatable (default {})",
                                 kDefaultListen))
          ->type_name("ADDRESS")
          ->allow_extra_args(false)
          ->check(validator(checkListenAddress));
  app.add_option("--agentx", settings.agentx,
                 "Be an AgentX subagent of the master at ADDRESS (default: where masters usually "
                 "listen) instead of listening")
      ->type_name("[ADDRESS]")
      ->expected(0, 1)
      ->default_str(kUsualMaster)
      ->excludes(listen);
  path("--snmp-conf", settings.snmpConf, "Read access control and users from PATH, as snmpd.conf");
  app.add_option("--community", settings.community,
                 fmt::format("Community for reading from this host; COMMUNITY@VRF reads VRF "
                             "(default {})",
                             kDefaultCommunity))
      ->type_name("NAME")
      ->check(validator(checkCommunity));
  auto* traceOption = app.add_option("--trace", trace, "Trace units up to levels, 0 to 9")
                          ->type_name("UNIT=LEVEL,...")
                          ->check(validator(checkTrace));
  path("--trace-file", settings.traceFile, "Write trace lines to PATH instead of standard error");
  path("--plugin", settings.plugin,
       "Load the plug-in from PATH (default ../lib/libConnectivityMonitorSnmp.so, seen from this "
       "program)");
  auto* budgetOption =
      app.add_option("--slice-budget", budget,
                     "Longest time that internal work may delay a request, in milliseconds "
                     "(default 2)")
          ->type_name("MS")
          ->check(CLI::Range(1, kMaxSliceBudget));
  auto* maxContextsOption =
      app.add_option("--max-contexts", maxContexts,
                     fmt::format("Most VRFs, besides the default one, that may be named while the "
                                 "agent runs (default {})",
                                 ContextLimit::kDefault))
          ->type_name("N")
          ->check(CLI::Range(1L, kMaxMaxContexts));
  const auto answerLimit = [&](const char* name, std::optional<int>& to, const char* text,
                               int byDefault) {
    app.add_option(name, to, fmt::format("{} (default {})", text, byDefault))
        ->type_name("N")
        ->check(CLI::Range(1, kLargestAnswer));
  };
  answerLimit("--max-repetitions", settings.maxRepetitions, "Most repetitions of a GETBULK",
              kDefaultMaxRepetitions);
  answerLimit("--max-varbinds", settings.maxVarbinds, "Most varbinds in the answer to a GETBULK",
              kDefaultMaxVarbinds);
  auto* interfacesOption =
      app.add_option("--interfaces", interfaces,
                     "Take interface indexes from the kernel and the feed (kernel, the default) or "
                     "from the feed alone (feed)")
          ->type_name("SOURCE")
          ->check(validator(checkInterfaces));
  bool verbose = false;
  app.add_flag("--verbose", verbose, "Log what goes well, too, such as who connects to the feed");
  path("--config", line.config, "Read settings from PATH (YAML); the command line wins");
  app.add_flag("--check-config", line.checkConfig,
               "Check the command line and --config, then exit");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return Printout{app.help()};
  } catch (const CLI::CallForVersion& version) {
    return Printout{fmt::format("{}\n", version.what())};
  } catch (const CLI::ParseError& error) {
    throw ConfigError(error.what());
  }
  if (settings.agentx == kUsualMaster) {
    settings.agentx = "";
  }
  if (*traceOption) {
    settings.trace = std::get<TraceLevels>(parseTraceLevels(trace));
  }
  if (*budgetOption) {
    settings.sliceBudget = std::chrono::milliseconds(budget);
  }
  if (*maxContextsOption) {
    settings.maxContexts = static_cast<std::size_t>(maxContexts);
  }
  if (*interfacesOption) {
    settings.interfaces = interfacesOf(interfaces);
  }
  if (verbose) {
    settings.verbose = true;
  }
  return line;
}

}  // namespace Agent

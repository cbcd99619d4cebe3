#include "ctl/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

namespace Ctl {

namespace {

constexpr double kDefaultSeconds = 2;
constexpr double kLongestSeconds = 86'400;
constexpr unsigned kDeepest = 32;

}  // namespace

std::variant<CommandLine, Printout> parseCommandLine(int argc, const char* const* argv) {
  CLI::App app("Looks inside a running conmon-snmpd.", "conmonctl");
  app.set_version_flag("--version", fmt::format("conmonctl {}", CONMON_VERSION));
  app.set_help_flag("--help", "Print this help and exit");
  app.get_formatter()->column_width(34);
  app.require_subcommand(1);
  app.fallthrough();
  app.footer("Exit codes: 0 done; 1 it went wrong, or the agent refused; 2 wrong usage.");

  std::string socket = kAgentSocket;
  app.add_option("--socket", socket,
                 fmt::format("The agent's socket, its --feed (default {})", kAgentSocket))
      ->type_name("PATH");

  Tables tables;
  tables.vrf = "default";
  bool again = false;
  double seconds = kDefaultSeconds;
  auto* tablesCommand = app.add_subcommand("tables", "The three tables of a VRF");
  tablesCommand->add_option("--vrf", tables.vrf, "The VRF (default: default)")->type_name("NAME");
  tablesCommand->add_flag("--json", tables.json, "One JSON document of one line");
  auto* watch = tablesCommand->add_flag("--watch", again, "Again and again, until interrupted");
  tablesCommand->add_option("--interval", seconds, "With --watch: pause (default 2)")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, kLongestSeconds))
      ->needs(watch);

  Show show;
  auto* showCommand =
      app.add_subcommand("show", "What is at a place of the state store, as a tree");
  showCommand->add_option("path", show.path, "Names joined by / (default: the root)")
      ->type_name("PATH");
  showCommand->add_option("--depth", show.depth, "Follow entities so far (default 1)")
      ->type_name("LEVELS")
      ->check(CLI::Range(1U, kDeepest));
  showCommand->add_flag("--all", show.all, "All elements of collections, not the first 20");

  Stats stats{.probedSocket = kProbedSocket};
  auto* statsCommand = app.add_subcommand("stats", "What agent and prober have done so far");
  statsCommand
      ->add_option("--probed-socket", stats.probedSocket,
                   fmt::format("The prober's status socket (default {})", kProbedSocket))
      ->type_name("PATH");

  Feed feed;
  auto* feedCommand = app.add_subcommand("feed", "Take feed lines to the agent");
  feedCommand->add_option("file", feed.file, "A file of lines; - is standard input")
      ->type_name("FILE")
      ->required();

  SnmpdConf conf{.standalone = {}, .community = "public", .source = "127.0.0.1", .users = {}};
  auto* confCommand = app.add_subcommand(
      "snmpd-conf", "Lines for a stock snmpd through which the VRFs are to be read");
  confCommand
      ->add_option("--standalone", conf.standalone,
                   "The agent answers by itself at ADDRESS, and snmpd asks it there; without this, "
                   "it is snmpd's AgentX subagent")
      ->type_name("ADDRESS");
  confCommand
      ->add_option("--community", conf.community,
                   "Community of the default VRF; COMMUNITY@VRF is the others' (default public)")
      ->type_name("NAME");
  confCommand
      ->add_option("--source", conf.source,
                   "From where communities are taken, as com2sec has it (default 127.0.0.1)")
      ->type_name("SOURCE");
  confCommand->add_option("--user", conf.users, "An SNMPv3 user that reads all VRFs; repeatable")
      ->type_name("NAME")
      ->allow_extra_args(false);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return Printout{app.help()};
  } catch (const CLI::CallForVersion& version) {
    return Printout{fmt::format("{}\n", version.what())};
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  if (again) {
    tables.every = std::chrono::duration<double>(seconds);
  }
  if (*tablesCommand) {
    return CommandLine{socket, tables};
  }
  if (*showCommand) {
    return CommandLine{socket, show};
  }
  if (*statsCommand) {
    return CommandLine{socket, stats};
  }
  if (*feedCommand) {
    return CommandLine{socket, feed};
  }
  return CommandLine{socket, conf};
}

}  // namespace Ctl

#include "agent/config/CommandLine.h"

#include <gtest/gtest.h>

#include "agent/config/ConfigFile.h"

namespace Agent {
namespace {

CommandLine parsed(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "conmon-snmpd");
  return std::get<CommandLine>(
      parseCommandLine(static_cast<int>(arguments.size()), arguments.data()));
}

std::string errorOf(std::vector<const char*> arguments) {
  try {
    (void)parsed(std::move(arguments));
  } catch (const ConfigError& error) {
    return error.what();
  }
  return "accepted";
}

std::string printed(const char* argument) {
  const std::vector<const char*> arguments{"conmon-snmpd", argument};
  return std::get<Printout>(parseCommandLine(2, arguments.data())).text;
}

TEST(CommandLine, NothingSaidIsNothingSet) {
  const CommandLine line = parsed({});
  EXPECT_FALSE(line.config);
  EXPECT_FALSE(line.checkConfig);
  EXPECT_FALSE(line.settings.listen);
  EXPECT_FALSE(line.settings.agentx);
  EXPECT_FALSE(line.settings.trace);
  EXPECT_FALSE(line.settings.sliceBudget);
}

TEST(CommandLine, EveryOptionIsTaken) {
  const CommandLine line = parsed({"--feed",
                                   "/feed",
                                   "--feed-file",
                                   "a",
                                   "--feed-file",
                                   "b",
                                   "--listen",
                                   "udp:127.0.0.1:1161",
                                   "--listen",
                                   "udp6:[::1]:1161",
                                   "--trace",
                                   "velmorConMonMIB=2",
                                   "--trace-file",
                                   "t",
                                   "--plugin",
                                   "p",
                                   "--snmp-conf",
                                   "s",
                                   "--community",
                                   "c",
                                   "--slice-budget",
                                   "7",
                                   "--max-contexts",
                                   "9",
                                   "--max-repetitions",
                                   "8",
                                   "--max-varbinds",
                                   "9",
                                   "--interfaces",
                                   "feed",
                                   "--verbose",
                                   "--config",
                                   "y",
                                   "--check-config"});
  EXPECT_EQ(line.settings.feed, "/feed");
  EXPECT_EQ(line.settings.feedFiles, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(line.settings.listen,
            (std::vector<std::string>{"udp:127.0.0.1:1161", "udp6:[::1]:1161"}));
  EXPECT_EQ(line.settings.trace, (TraceLevels{{"velmorConMonMIB", 2}}));
  EXPECT_EQ(line.settings.traceFile, "t");
  EXPECT_EQ(line.settings.plugin, "p");
  EXPECT_EQ(line.settings.snmpConf, "s");
  EXPECT_EQ(line.settings.community, "c");
  EXPECT_EQ(line.settings.sliceBudget, std::chrono::milliseconds(7));
  EXPECT_EQ(line.settings.maxContexts, 9U);
  EXPECT_EQ(line.settings.maxRepetitions, 8);
  EXPECT_EQ(line.settings.maxVarbinds, 9);
  EXPECT_EQ(line.settings.interfaces, Interfaces::kFeedOnly);
  EXPECT_EQ(line.settings.verbose, true);
  EXPECT_EQ(line.config, "y");
  EXPECT_TRUE(line.checkConfig);
}

TEST(CommandLine, AgentxMayHaveAnAddressOrNone) {
  EXPECT_EQ(parsed({"--agentx"}).settings.agentx, "");
  EXPECT_EQ(parsed({"--agentx", "--feed", "f"}).settings.agentx, "");
  EXPECT_EQ(parsed({"--agentx", "unix:/x"}).settings.agentx, "unix:/x");
  EXPECT_EQ(parsed({"--agentx=unix:/x"}).settings.agentx, "unix:/x");
}

TEST(CommandLine, HelpAndVersionArePrinted) {
  EXPECT_EQ(printed("--version"), "conmon-snmpd " CONMON_VERSION "\n");
  for (const char* option :
       {"--feed", "--feed-file", "--listen", "--agentx", "--trace", "--trace-file", "--config",
        "--check-config", "--plugin", "--snmp-conf", "--community", "--slice-budget",
        "--max-contexts", "--max-repetitions", "--max-varbinds", "--interfaces", "--verbose"}) {
    EXPECT_NE(printed("--help").find(option), std::string::npos) << option;
  }
}

TEST(CommandLine, FaultsNameTheOption) {
  EXPECT_NE(errorOf({"--bogus"}).find("--bogus"), std::string::npos);
  EXPECT_NE(errorOf({"stray"}).find("stray"), std::string::npos);
  EXPECT_NE(errorOf({"--feed"}).find("--feed"), std::string::npos);
  EXPECT_EQ(
      errorOf({"--listen", "here"}),
      "--listen: expected udp:ADDRESS:PORT, udp6:[ADDRESS]:PORT or tcp:ADDRESS:PORT, not \"here\"");
  EXPECT_EQ(errorOf({"--trace", "velmorConMonMIB=10"}),
            "--trace: \"10\" is no level of velmorConMonMIB; levels are 0 to 9");
  EXPECT_EQ(errorOf({"--trace", "Nobody=1"}).substr(0, 30), "--trace: \"Nobody\" is no unit; ");
  EXPECT_NE(errorOf({"--slice-budget", "0"}).find("--slice-budget"), std::string::npos);
  EXPECT_NE(errorOf({"--slice-budget", "x"}).find("--slice-budget"), std::string::npos);
  EXPECT_NE(errorOf({"--max-contexts", "0"}).find("--max-contexts"), std::string::npos);
  EXPECT_EQ(errorOf({"--community", "a b"}),
            "--community: expected 1 to 64 printable ASCII characters without blanks");
  EXPECT_EQ(errorOf({"--feed", ""}), "--feed: expected a path");
  EXPECT_NE(errorOf({"--agentx", "x", "--listen", "udp:127.0.0.1:1161"}).find("--listen"),
            std::string::npos);
}

}  // namespace
}  // namespace Agent

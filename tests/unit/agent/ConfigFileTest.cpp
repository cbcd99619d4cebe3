#include "agent/config/ConfigFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace Agent {
namespace {

std::string errorOf(const std::string& text) {
  try {
    (void)parseConfig(text, "agent.yaml");
  } catch (const ConfigError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(ConfigFile, EverySettingIsRead) {
  const Settings settings = parseConfig(
      "feed: /run/feed.sock\n"
      "feed-file: [a.jsonl, /b.jsonl]\n"
      "listen: [udp:127.0.0.1:1161, 'udp6:[::1]:1161']\n"
      "trace: {velmorConMonMIB: 2, ConnectivityMonitorSnmpTableSm: 9}\n"
      "trace-file: trace.log\n"
      "plugin: lib/plugin.so\n"
      "snmp-conf: snmpd.conf\n"
      "community: secret\n"
      "slice-budget: 5\n"
      "max-contexts: 9\n"
      "max-repetitions: 10\n"
      "max-varbinds: 40\n"
      "interfaces: feed\n"
      "verbose: true\n"
      "vrfs: {blue: {netns: b}, red: {netns: r}}\n",
      "/etc/conmon/agent.yaml");
  EXPECT_EQ(settings.feed, "/run/feed.sock");
  EXPECT_EQ(settings.feedFiles, (std::vector<std::string>{"/etc/conmon/a.jsonl", "/b.jsonl"}));
  EXPECT_EQ(settings.listen, (std::vector<std::string>{"udp:127.0.0.1:1161", "udp6:[::1]:1161"}));
  EXPECT_EQ(settings.trace,
            (TraceLevels{{"velmorConMonMIB", 2}, {"ConnectivityMonitorSnmpTableSm", 9}}));
  EXPECT_EQ(settings.traceFile, "/etc/conmon/trace.log");
  EXPECT_EQ(settings.plugin, "/etc/conmon/lib/plugin.so");
  EXPECT_EQ(settings.snmpConf, "/etc/conmon/snmpd.conf");
  EXPECT_EQ(settings.community, "secret");
  EXPECT_EQ(settings.sliceBudget, std::chrono::milliseconds(5));
  EXPECT_EQ(settings.maxContexts, 9U);
  EXPECT_EQ(settings.maxRepetitions, 10);
  EXPECT_EQ(settings.maxVarbinds, 40);
  EXPECT_EQ(settings.interfaces, Interfaces::kFeedOnly);
  EXPECT_EQ(settings.verbose, true);
  EXPECT_EQ(settings.netnsVrfs, (std::map<std::string, std::string>{{"blue", "b"}, {"red", "r"}}));
}

TEST(ConfigFile, AListOfOneMayBeWrittenAsItsOnlyItem) {
  EXPECT_EQ(parseConfig("listen: udp:127.0.0.1:1161\n", "x").listen,
            std::vector<std::string>{"udp:127.0.0.1:1161"});
  EXPECT_EQ(parseConfig("feed-file: a\n", "x").feedFiles, std::vector<std::string>{"a"});
}

TEST(ConfigFile, TraceMayBeWrittenAsOnTheCommandLine) {
  EXPECT_EQ(parseConfig("trace: velmorConMonMIB=2\n", "x").trace,
            (TraceLevels{{"velmorConMonMIB", 2}}));
}

TEST(ConfigFile, AgentxMayHaveAnAddressOrNone) {
  EXPECT_EQ(parseConfig("agentx: unix:/run/master\n", "x").agentx, "unix:/run/master");
  EXPECT_EQ(parseConfig("agentx:\n", "x").agentx, "");
}

TEST(ConfigFile, AnEmptyFileSaysNothing) {
  EXPECT_FALSE(parseConfig("", "x").feed);
  EXPECT_FALSE(parseConfig("# only a comment\n", "x").feed);
}

TEST(ConfigFile, AnUnknownKeyIsRefusedWithItsLine) {
  EXPECT_EQ(errorOf("community: a\nfeeds: /x\n"), "agent.yaml:2: feeds: unknown setting");
  EXPECT_EQ(errorOf("\"a\\nb\": 1\n"), "agent.yaml:1: \"a\\nb\": unknown setting");
}

TEST(ConfigFile, AKeyGivenTwiceIsRefused) {
  EXPECT_EQ(errorOf("feed: /x\n\nfeed: /y\n"), "agent.yaml:3: feed: given twice");
}

TEST(ConfigFile, EachFaultNamesFileLineAndKey) {
  EXPECT_EQ(errorOf("feed: [a]\n"), "agent.yaml:1: feed: expected a text");
  EXPECT_EQ(errorOf("feed:\n"), "agent.yaml:1: feed: expected a text");
  EXPECT_EQ(errorOf("feed: ''\n"), "agent.yaml:1: feed: expected a text");
  EXPECT_EQ(errorOf("feed-file: []\n"), "agent.yaml:1: feed-file: expected at least one");
  EXPECT_EQ(errorOf("feed-file:\n- a\n- {}\n"), "agent.yaml:3: feed-file: expected a text");
  EXPECT_EQ(errorOf("listen:\n- udp:127.0.0.1:1161\n- localhost\n"),
            "agent.yaml:3: listen: expected udp:ADDRESS:PORT, udp6:[ADDRESS]:PORT or "
            "tcp:ADDRESS:PORT, not "
            "\"localhost\"");
  EXPECT_EQ(errorOf("community: a b\n"),
            "agent.yaml:1: community: expected 1 to 64 printable ASCII characters without blanks");
  EXPECT_EQ(errorOf("slice-budget: 0\n"),
            "agent.yaml:1: slice-budget: expected 1 to 1000 milliseconds");
  for (const char* key : {"max-repetitions", "max-varbinds"}) {
    for (const char* value : {"0", "-1", "4001", "ten"}) {
      EXPECT_EQ(errorOf(std::string(key) + ": " + value + "\n"),
                std::string("agent.yaml:1: ") + key + ": expected 1 to 4000");
    }
  }
  EXPECT_EQ(errorOf("slice-budget: 2ms\n"),
            "agent.yaml:1: slice-budget: expected 1 to 1000 milliseconds");
  EXPECT_EQ(errorOf("max-contexts: 0\n"), "agent.yaml:1: max-contexts: expected 1 to 1000000");
  EXPECT_EQ(errorOf("max-contexts: many\n"), "agent.yaml:1: max-contexts: expected 1 to 1000000");
  EXPECT_EQ(errorOf("trace:\n  velmorConMonMIB: 10\n"),
            "agent.yaml:2: trace: \"10\" is no level of velmorConMonMIB; levels are 0 to 9");
  EXPECT_EQ(errorOf("trace: velmorConMonMIB\n"),
            "agent.yaml:1: trace: expected UNIT=LEVEL, not \"velmorConMonMIB\"");
  EXPECT_EQ(errorOf("trace: []\n"), "agent.yaml:1: trace: expected a text");
}

TEST(ConfigFile, FaultsOfVrfsNameTheVrf) {
  EXPECT_EQ(errorOf("interfaces: both\n"), "agent.yaml:1: interfaces: expected kernel or feed");
  EXPECT_EQ(errorOf("verbose: yes\n"), "agent.yaml:1: verbose: expected true or false");
  EXPECT_EQ(errorOf("vrfs: [blue]\n"), "agent.yaml:1: vrfs: expected a map of VRFs by name");
  EXPECT_EQ(errorOf("vrfs:\n"), "agent.yaml:1: vrfs: expected a map of VRFs by name");
  EXPECT_EQ(errorOf("vrfs:\n  default: {netns: a}\n"),
            "agent.yaml:2: vrfs: expected the name of a VRF other than default, 1 to 32 bytes");
  const std::string netnsOnly = "expected a map with the key netns";
  EXPECT_EQ(errorOf("vrfs:\n  blue: b\n"), "agent.yaml:2: vrfs.blue: " + netnsOnly);
  EXPECT_EQ(errorOf("vrfs:\n  blue:\n"), "agent.yaml:2: vrfs.blue: " + netnsOnly);
  EXPECT_EQ(errorOf("vrfs:\n  blue: {}\n"), "agent.yaml:2: vrfs.blue: " + netnsOnly);
  EXPECT_EQ(errorOf("vrfs:\n  blue: {netns: b, device: d}\n"),
            "agent.yaml:2: vrfs.blue: " + netnsOnly);
  EXPECT_EQ(errorOf("vrfs:\n  blue: {device: d}\n"), "agent.yaml:2: vrfs.blue: " + netnsOnly);
  EXPECT_EQ(errorOf("vrfs:\n  blue: {netns: a/b}\n"),
            "agent.yaml:2: vrfs.blue.netns: expected the name of a network namespace");
  EXPECT_EQ(errorOf("vrfs:\n  blue: {netns: a}\n  blue: {netns: b}\n"),
            "agent.yaml:3: vrfs.blue: given twice");
}

TEST(ConfigFile, ListenAndAgentxExcludeEachOther) {
  EXPECT_EQ(errorOf("listen: udp:127.0.0.1:1161\nagentx: unix:/x\n"),
            "agent.yaml:2: agentx: expected either listen or agentx, not both");
}

TEST(ConfigFile, WhatIsNoMapIsRefused) {
  EXPECT_EQ(errorOf("- feed\n"), "agent.yaml:1: expected a map of settings");
  EXPECT_EQ(errorOf("feed\n"), "agent.yaml:1: expected a map of settings");
  EXPECT_EQ(errorOf("[a]: b\n"), "agent.yaml:1: expected the name of a setting");
}

TEST(ConfigFile, BrokenYamlIsRefusedWithItsLine) {
  EXPECT_EQ(errorOf("community: a\nfeed: [\n").substr(0, 13), "agent.yaml:3:");
  EXPECT_EQ(errorOf("feed: *nowhere\n").substr(0, 13), "agent.yaml:1:");
}

TEST(ConfigFile, ASecondDocumentIsRefused) {
  EXPECT_EQ(errorOf("feed: a\n---\nfeed: b\n"),
            "agent.yaml:2: expected one document, here begins another");
}

TEST(ConfigFile, ATextThatBeginsWithACommaIsRefused) {
  EXPECT_EQ(errorOf(",feed: a\n"), "agent.yaml:1: expected one document, here begins another");
}

TEST(ConfigFile, AFileThatCannotBeReadIsAnError) {
  const auto errorOfFile = [](const std::string& path) -> std::string {
    try {
      (void)readConfigFile(path);
    } catch (const ConfigError& error) {
      return error.what();
    }
    return "accepted";
  };
  const std::string directory = testing::TempDir();
  EXPECT_EQ(errorOfFile("/nonexistent/agent.yaml"),
            "/nonexistent/agent.yaml: No such file or directory");
  EXPECT_EQ(errorOfFile(directory), directory + ": Is a directory");
}

TEST(ConfigFile, AFileOfNoOctetsIsReadAsOneThatSaysNothing) {
  const auto path = std::filesystem::path(testing::TempDir()) / "empty-config.yaml";
  std::ofstream{path};
  errno = EINVAL;  // Left behind by whatever ran before.
  EXPECT_FALSE(readConfigFile(path.string()).feed);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace Agent

#include "ctl/CommandLine.h"

#include <gtest/gtest.h>

namespace Ctl {
namespace {

std::variant<CommandLine, Printout> parsed(std::vector<const char*> words) {
  words.insert(words.begin(), "conmonctl");
  return parseCommandLine(static_cast<int>(words.size()), words.data());
}

template <class Kind>
Kind command(const std::vector<const char*>& words) {
  return std::get<Kind>(std::get<CommandLine>(parsed(words)).command);
}

std::string usageError(const std::vector<const char*>& words) {
  try {
    static_cast<void>(parsed(words));
  } catch (const UsageError& error) {
    return error.what();
  }
  return "understood";
}

TEST(CtlCommandLine, TheSocketIsSaidBeforeOrBehindTheCommand) {
  EXPECT_EQ(std::get<CommandLine>(parsed({"--socket", "/a", "stats"})).socket, "/a");
  EXPECT_EQ(std::get<CommandLine>(parsed({"stats", "--socket", "/a"})).socket, "/a");
  EXPECT_EQ(std::get<CommandLine>(parsed({"stats"})).socket, kAgentSocket);
}

TEST(CtlCommandLine, TablesAreThoseOfTheDefaultVrfUnlessItIsSaid) {
  EXPECT_EQ(command<Tables>({"tables"}).vrf, "default");
  const auto tables = command<Tables>({"tables", "--vrf", "blue", "--json"});
  EXPECT_EQ(tables.vrf, "blue");
  EXPECT_TRUE(tables.json);
  EXPECT_FALSE(tables.every);
}

TEST(CtlCommandLine, WatchingHasAPause) {
  EXPECT_EQ(command<Tables>({"tables", "--watch"}).every->count(), 2);
  EXPECT_EQ(command<Tables>({"tables", "--watch", "--interval", "0.5"}).every->count(), 0.5);
  EXPECT_NE(usageError({"tables", "--interval", "1"}), "understood");
  EXPECT_NE(usageError({"tables", "--watch", "--interval", "-1"}), "understood");
}

TEST(CtlCommandLine, ShowHasAPathADepthAndABound) {
  EXPECT_EQ(command<Show>({"show"}).path, "");
  const auto show = command<Show>({"show", "snmp/ifMib", "--depth", "3", "--all"});
  EXPECT_EQ(show.path, "snmp/ifMib");
  EXPECT_EQ(show.depth, 3U);
  EXPECT_TRUE(show.all);
  EXPECT_NE(usageError({"show", "--depth", "0"}), "understood");
}

TEST(CtlCommandLine, FeedNeedsAFile) {
  EXPECT_EQ(command<Feed>({"feed", "-"}).file, "-");
  EXPECT_NE(usageError({"feed"}), "understood");
}

TEST(CtlCommandLine, SnmpdConfTakesManyUsers) {
  const auto conf = command<SnmpdConf>(
      {"snmpd-conf", "--user", "a", "--user", "b", "--standalone", "udp:127.0.0.1:1161"});
  EXPECT_EQ(conf.users, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(conf.standalone, "udp:127.0.0.1:1161");
  EXPECT_EQ(conf.community, "public");
  EXPECT_FALSE(command<SnmpdConf>({"snmpd-conf"}).standalone);
}

TEST(CtlCommandLine, WhatIsNoCommandIsRefused) {
  EXPECT_NE(usageError({}), "understood");
  EXPECT_NE(usageError({"table"}), "understood");
  EXPECT_NE(usageError({"stats", "--json"}), "understood");
}

TEST(CtlCommandLine, HelpAndVersionAreTexts) {
  EXPECT_EQ(std::get<Printout>(parsed({"--version"})).text, "conmonctl " CONMON_VERSION "\n");
  EXPECT_NE(std::get<Printout>(parsed({"--help"})).text.find("snmpd-conf"), std::string::npos);
  EXPECT_NE(std::get<Printout>(parsed({"tables", "--help"})).text.find("--watch"),
            std::string::npos);
}

}  // namespace
}  // namespace Ctl

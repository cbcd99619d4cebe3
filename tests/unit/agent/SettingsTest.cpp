#include "agent/config/Settings.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST(Settings, TheUpperLayerWinsSettingBySetting) {
  Settings above;
  above.community = "a";
  Settings below;
  below.community = "b";
  below.feed = "/feed";
  const Settings both = overlaid(above, below);
  EXPECT_EQ(both.community, "a");
  EXPECT_EQ(both.feed, "/feed");
  EXPECT_FALSE(both.plugin);
}

TEST(Settings, ListsAreReplacedNotJoined) {
  Settings above;
  above.feedFiles = {"one"};
  Settings below;
  below.feedFiles = {"two", "three"};
  EXPECT_EQ(overlaid(above, below).feedFiles, std::vector<std::string>{"one"});
}

TEST(Settings, AnAddressAboveHidesAMasterBelowAndTheOtherWayRound) {
  Settings listens;
  listens.listen = {"udp:127.0.0.1:1161"};
  Settings subagent;
  subagent.agentx = "";
  EXPECT_FALSE(overlaid(listens, subagent).agentx);
  EXPECT_TRUE(overlaid(listens, subagent).listen);
  EXPECT_TRUE(overlaid(subagent, listens).agentx);
  EXPECT_FALSE(overlaid(subagent, listens).listen);
}

TEST(ListenAddress, AddressesWithAPortAreTaken) {
  for (const char* good : {"udp:127.0.0.1:1161", "udp:0.0.0.0:161", "udp6:[::1]:1161",
                           "udp6:[2001:db8::1]:65535", "tcp:127.0.0.1:1161"}) {
    EXPECT_FALSE(checkListenAddress(good)) << good;
  }
}

TEST(ListenAddress, AnythingElseIsRefused) {
  for (const char* bad :
       {"", "udp:", "127.0.0.1:1161", "udp:127.0.0.1", "udp:127.0.0.1:", "udp:127.0.0.1:0",
        "udp:127.0.0.1:65536", "udp:127.0.0.1:+1", "udp:localhost:1161", "udp:1161",
        "tcp6:[::1]:1161", "tcp:[::1]:1161", "udp:::1:1161", "udp6:::1:1161", "udp6:[::1]",
        "udp6:[127.0.0.1]:1161", "udp6:[::1:1161"}) {
    const auto expected = checkListenAddress(bad);
    ASSERT_TRUE(expected) << bad;
    EXPECT_EQ(expected->what,
              "expected udp:ADDRESS:PORT, udp6:[ADDRESS]:PORT or tcp:ADDRESS:PORT, not \"" +
                  std::string(bad) + "\"");
  }
}

TEST(Community, ItIsShortPrintableAndWithoutBlanks) {
  EXPECT_FALSE(checkCommunity("public"));
  EXPECT_FALSE(checkCommunity(std::string(64, 'x')));
  for (const std::string& bad : {std::string(), std::string(65, 'x'), std::string("a b"),
                                 std::string("a\n"), std::string("\xc3\xa9")}) {
    EXPECT_TRUE(checkCommunity(bad)) << bad;
  }
}

TEST(InterfaceSource, ItIsTheKernelOrTheFeedAlone) {
  EXPECT_FALSE(checkInterfaces("kernel"));
  EXPECT_FALSE(checkInterfaces("feed"));
  EXPECT_EQ(interfacesOf("kernel"), Interfaces::kKernel);
  EXPECT_EQ(interfacesOf("feed"), Interfaces::kFeedOnly);
  for (const char* bad : {"", "Kernel", "both", "kernel "}) {
    EXPECT_TRUE(checkInterfaces(bad)) << bad;
  }
}

TEST(NetnsVrf, TheDefaultVrfIsNoOtherNamespace) {
  EXPECT_FALSE(checkNetnsVrf("blue"));
  EXPECT_FALSE(checkNetnsVrf(std::string(32, 'x')));
  for (const std::string& bad : {std::string(), std::string(33, 'x'), std::string("default")}) {
    EXPECT_TRUE(checkNetnsVrf(bad)) << bad;
  }
}

TEST(NetnsName, ItIsAFilesNameNotAPath) {
  EXPECT_FALSE(checkNetns("blue"));
  EXPECT_FALSE(checkNetns(std::string(255, 'x')));
  for (const std::string& bad : {std::string(), std::string("."), std::string(".."),
                                 std::string("a/b"), std::string(256, 'x')}) {
    EXPECT_TRUE(checkNetns(bad)) << bad;
  }
}

TEST(SliceBudget, ItReachesFrom1To1000Milliseconds) {
  EXPECT_FALSE(checkSliceBudget(1));
  EXPECT_FALSE(checkSliceBudget(1000));
  EXPECT_TRUE(checkSliceBudget(0));
  EXPECT_TRUE(checkSliceBudget(-5));
  EXPECT_TRUE(checkSliceBudget(1001));
}

std::string traceError(std::string_view text) {
  const auto parsed = parseTraceLevels(text);
  const auto* expected = std::get_if<Expected>(&parsed);
  return expected == nullptr ? "accepted" : expected->what;
}

TEST(TraceLevels, UnitsAndLevelsAreReadInOrder) {
  const auto parsed = parseTraceLevels("ConnectivityMonitorSnmpTableSm=9,velmorConMonMIB=0");
  EXPECT_EQ(std::get<TraceLevels>(parsed),
            (TraceLevels{{"ConnectivityMonitorSnmpTableSm", 9}, {"velmorConMonMIB", 0}}));
}

TEST(TraceLevels, AllFiveUnitsAreKnown) {
  EXPECT_EQ(traceError("ConnectivityMonitorSnmp=1,velmorConMonMIB=1,ConnectivityMonitorSnmpAgent=1,"
                       "ConnectivityMonitorSnmpSmTypes=1,ConnectivityMonitorSnmpTableSm=1"),
            "accepted");
}

TEST(TraceLevels, AnUnknownUnitIsRefusedWithTheKnownOnes) {
  EXPECT_EQ(traceError("Nobody=1"),
            "\"Nobody\" is no unit; units are ConnectivityMonitorSnmp, velmorConMonMIB, "
            "ConnectivityMonitorSnmpAgent, ConnectivityMonitorSnmpSmTypes, "
            "ConnectivityMonitorSnmpTableSm");
}

TEST(TraceLevels, ALevelOutside0To9IsRefused) {
  for (const char* level : {"10", "-1", "", "x", "1x", " 1", "99999999999"}) {
    EXPECT_EQ(traceError(std::string("velmorConMonMIB=") + level),
              "\"" + std::string(level) + "\" is no level of velmorConMonMIB; levels are 0 to 9");
  }
}

TEST(TraceLevels, WhatIsNoPairIsRefused) {
  EXPECT_EQ(traceError(""), "expected UNIT=LEVEL, not \"\"");
  EXPECT_EQ(traceError("velmorConMonMIB"), "expected UNIT=LEVEL, not \"velmorConMonMIB\"");
  EXPECT_EQ(traceError("velmorConMonMIB=1,"), "expected UNIT=LEVEL, not \"\"");
}

}  // namespace
}  // namespace Agent

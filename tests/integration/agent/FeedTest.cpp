// The feed end to end: what is fed is what an SNMP manager reads.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "AgentUnderTest.h"

namespace Agent::Testing {
namespace {

constexpr const char* kHello = R"({"op":"hello","client":"lab"})";
constexpr const char* kSync = R"({"op":"sync"})";
using Values = std::vector<std::string>;

std::string icmpPut(const std::string& host, const std::string& rest = "") {
  return R"({"op":"put","host":")" + host + R"(","probe":"icmp","address":"10.0.0.1")" + rest + "}";
}
std::string interfaceLine(const std::string& name, int ifIndex) {
  return R"({"op":"interface","name":")" + name + R"(","ifIndex":)" + std::to_string(ifIndex) + "}";
}

TEST(Feed, WhatWasPutBeforeASyncIsReadAfterIt) {
  const AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, interfaceLine("eth1", 7),
             R"({"op":"put","host":"web1","probe":"icmp","interface":"eth1",)"
             R"("address":"192.0.2.10","latency":12.345,"jitter":0.2,"packetLoss":33.5})",
             R"({"op":"put","host":"web1","probe":"http","url":"http://192.0.2.10/",)"
             R"("responseTime":25.7})",
             R"({"op":"put","host":"db1","probe":"tcp","interface":"eth1",)"
             R"("address":"2001:db8::1","port":5432,"latency":1.5})",
             kSync});
  const Varbinds walk = agent.walk("public");
  EXPECT_EQ(column(walk, "1.2"), Values{"\"lab\""});
  EXPECT_EQ(column(walk, "1.3"), Values{"\"web1\""});
  EXPECT_EQ(column(walk, "1.4"), Values{"1"});
  EXPECT_EQ(column(walk, "1.5"), Values{"\"C0 00 02 0A \""});
  EXPECT_EQ(column(walk, "1.6"), Values{"7"});
  EXPECT_EQ(column(walk, "1.7"), Values{"3"});
  EXPECT_EQ(column(walk, "1.8"), Values{"12345"});
  EXPECT_EQ(column(walk, "1.9"), Values{"1"});
  EXPECT_EQ(column(walk, "1.10"), Values{"2"});
  EXPECT_EQ(column(walk, "1.11"), Values{"34"});
  EXPECT_EQ(column(walk, "2.4"), Values{"\"http://192.0.2.10/\""});
  EXPECT_EQ(column(walk, "2.5"), Values{"0"});
  EXPECT_EQ(column(walk, "2.6"), Values{"1"});
  EXPECT_EQ(column(walk, "2.7"), Values{"257"});
  EXPECT_EQ(column(walk, "3.4"), Values{"2"});
  EXPECT_EQ(column(walk, "3.6"), Values{"5432"});
  EXPECT_EQ(column(walk, "3.7"), Values{"7"});
  EXPECT_EQ(column(walk, "3.9"), Values{"15"});
  EXPECT_EQ(walk.size(), 24U);
}

TEST(Feed, ARecordsUpdateReplacesItsRowAndItsRemovalTakesIt) {
  const AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, icmpPut("h", R"(,"latency":1)"), icmpPut("h", R"(,"latency":2)"), kSync});
  EXPECT_EQ(column(agent.walk("public"), "1.8"), Values{"2"});
  feed.tell({R"({"op":"remove","host":"h","probe":"icmp","address":"10.0.0.1"})", kSync});
  EXPECT_TRUE(agent.walk("public").empty());
  feed.tell({R"({"op":"remove","host":"h","probe":"icmp","address":"10.0.0.1"})",
             R"({"op":"removeHost","host":"h"})", R"({"op":"removeClient"})", kSync});
}

TEST(Feed, ARefusedLineChangesNothingAndIsTold) {
  const AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  EXPECT_EQ(feed.ask(icmpPut("h")), R"({"ok":false,"error":"op: hello must come first","line":1})");
  feed.tell({kHello});
  EXPECT_EQ(feed.ask(icmpPut("h", R"(,"latency":1e39)")),
            R"({"ok":false,"error":"latency: number out of range of a 32-bit float","line":3})");
  feed.tell({kSync});
  EXPECT_TRUE(agent.walk("public").empty());
}

TEST(Feed, AProbeWaitsForItsInterfacesIndex) {
  const AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, icmpPut("h", R"(,"interface":"eth1")"), kSync});
  EXPECT_TRUE(agent.walk("public").empty());
  feed.tell({interfaceLine("eth1", 7), kSync});
  EXPECT_EQ(column(agent.walk("public"), "1.6"), Values{"7"});
}

TEST(Feed, AnInterfacesNewIndexLeavesNoRowBehind) {
  const AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, interfaceLine("eth1", 7), icmpPut("h", R"(,"interface":"eth1","latency":3)"),
             icmpPut("g", R"(,"interface":"eth1","vrf":"blue")"), icmpPut("other"), kSync});
  feed.tell({interfaceLine("eth1", 8), kSync});
  EXPECT_EQ(column(agent.walk("public"), "1.6"), (Values{"8", "0"}));
  EXPECT_EQ(column(agent.walk("public@blue"), "1.6"), Values{"8"});
  feed.tell({R"({"op":"removeClient"})", kSync});
  EXPECT_TRUE(agent.walk("public").empty());
  EXPECT_TRUE(agent.walk("public@blue").empty());
}

TEST(Feed, TwoRecordsOfOneRowAreBothKeptAndWarnedOfOnce) {
  AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  const std::string first = R"({"op":"put","host":"ab","probe":"http","url":"u","responseTime":1})";
  feed.tell({kHello, first, R"({"op":"put","host":"a","probe":"http","url":"bu","responseTime":2})",
             kSync});
  EXPECT_EQ(column(agent.walk("public"), "2.7"), Values{"2"});
  feed.tell({R"({"op":"remove","host":"a","probe":"http","url":"bu"})", kSync});
  EXPECT_EQ(column(agent.walk("public"), "2.7"), Values{"1"});
  feed.tell({first, kSync});
  const std::string said = agent.errors();
  EXPECT_EQ(said.substr(std::min(said.find("<4>"), said.size())),
            "<4>two records of VRF \"default\" have one row and the later one shows: "
            "client \"lab\" host \"a\" interface \"\" http \"bu\"; "
            "client \"lab\" host \"ab\" interface \"\" http \"u\"\n");
}

TEST(Feed, AClientsRecordsAreHeldAndThenWithdrawn) {
  const AgentUnderTest agent;
  {
    FeedClient feed(agent.feedPath());
    feed.tell({R"({"op":"hello","client":"held","holdSeconds":3600})", icmpPut("h"), kSync});
    FeedClient brief(agent.feedPath());
    brief.tell({R"({"op":"hello","client":"brief","holdSeconds":0})", icmpPut("g"), kSync});
    FeedClient kept(agent.feedPath());
    kept.tell({R"({"op":"hello","client":"kept"})", icmpPut("f"), kSync});
    EXPECT_EQ(column(agent.walk("public"), "1.2").size(), 3U);
  }
  EXPECT_TRUE(eventually([&] { return column(agent.walk("public"), "1.2").size() == 2; }));
  EXPECT_EQ(column(agent.walk("public"), "1.2"), (Values{"\"held\"", "\"kept\""}));
  {
    FeedClient again(agent.feedPath());
    again.tell({R"({"op":"hello","client":"held","holdSeconds":0})", kSync});
  }
  EXPECT_TRUE(eventually([&] { return column(agent.walk("public"), "1.2").size() == 1; }));
}

TEST(Feed, AnOverlongLineIsRefusedAndTheConnectionCloses) {
  const AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  EXPECT_EQ(feed.ask(std::string(65'537, ' ')),
            R"({"ok":false,"error":"line longer than 65536 bytes","line":1})");
  EXPECT_THROW(feed.ask("{}"), std::runtime_error);
}

TEST(Feed, LinesThatCameBeforeTheGateOpenedAreAllApplied) {
  std::string lines = std::string(kHello) + "\n";
  for (int i = 0; i < 3000; ++i) {
    lines += icmpPut("host" + std::to_string(i)) + "\n";
  }
  const Scratch scratch;
  const AgentUnderTest agent({"--feed-file", scratch.file("feed.jsonl", lines)});
  ASSERT_TRUE(eventually([&] {
    const Outcome last = run({"snmpbulkwalk", "-v2c", "-c", "public", "-Cr50", "-Onq",
                              agent.target(), kObjects + ".1.1.3"});
    return std::count(last.output.begin(), last.output.end(), '\n') >= 3000;
  }));
}

TEST(Feed, ReplacingThePluginsAgentKeepsEveryRow) {
  AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, interfaceLine("eth1", 7), icmpPut("h", R"(,"interface":"eth1","latency":3)"),
             icmpPut("h", R"(,"interface":"eth1","latency":4)"),
             icmpPut("g", R"(,"vrf":"blue","latency":5)"), icmpPut("later", R"(,"interface":"x")"),
             kSync});
  const Varbinds plain = agent.walk("public");
  const Varbinds blue = agent.walk("public@blue");
  ASSERT_EQ(plain.size(), 10U);
  for (int i = 0; i < 3; ++i) {
    agent.child().signal(SIGHUP);
    pause(std::chrono::milliseconds(50));
    feed.tell({icmpPut("extra" + std::to_string(i)), kSync});
    feed.tell({R"({"op":"removeHost","host":"extra)" + std::to_string(i) + R"("})", kSync});
    EXPECT_EQ(agent.walk("public"), plain);
    EXPECT_EQ(agent.walk("public@blue"), blue);
  }
  feed.tell({interfaceLine("x", 9), kSync});
  EXPECT_EQ(agent.walk("public").size(), 20U);
  EXPECT_EQ(agent.stop(), 0);
}

TEST(Feed, TracesGoToTheirFile) {
  const Scratch scratch;
  AgentUnderTest agent({"--trace", "ConnectivityMonitorSnmpTableSm=7,velmorConMonMIB=2",
                        "--trace-file", scratch.path("trace")});
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, icmpPut("h"), kSync});
  const std::string trace = readFile(scratch.path("trace"));
  EXPECT_NE(trace.find("ConnectivityMonitorSnmpTableSm:7: icmpStream = from( "
                       "clientDir.entityPtr< StatusDir >[].hostStatus[].icmpStats[] ): client="),
            std::string::npos)
      << trace;
  EXPECT_NE(trace.find("velmorConMonMIB:1: initialize_table_velmorIcmpProbeTable"),
            std::string::npos);
  EXPECT_EQ(trace.find("ConnectivityMonitorSnmpTableSm:9:"), std::string::npos);
  const std::string errors = agent.errors();
  EXPECT_TRUE(errors.starts_with("<5>feed: client \"lab\": ")) << errors;
  EXPECT_EQ(errors.find('\n'), errors.size() - 1)
      << "the client is all that the log tells: " << errors;
}

TEST(Feed, RequestsAreAnsweredWhileAHundredThousandRecordsFlow) {
  std::string lines = std::string(kHello) + "\n" + interfaceLine("eth1", 7) + "\n";
  for (int i = 0; i < 100'000; ++i) {
    lines += icmpPut("host" + std::to_string(i), R"(,"interface":"eth1")") + "\n";
  }
  const Scratch scratch;
  const AgentUnderTest agent({"--feed-file", scratch.file("feed.jsonl", lines)});
  FeedClient feed(agent.feedPath());
  feed.tell({R"({"op":"hello","client":"other"})", interfaceLine("eth1", 8)});
  int answers = 0;
  for (int i = 0; i < 10; ++i) {
    const Outcome get = run({"snmpget", "-v2c", "-c", "public", "-t", "10", "-r", "0",
                             agent.target(), ".1.3.6.1.2.1.1.3.0"});
    answers += get.status == 0 ? 1 : 0;
  }
  EXPECT_EQ(answers, 10);
}

}  // namespace
}  // namespace Agent::Testing

// Who may read what, and which contexts there are.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "AgentUnderTest.h"

namespace Agent::Testing {
namespace {

constexpr const char* kHello = R"({"op":"hello","client":"lab"})";
constexpr const char* kSync = R"({"op":"sync"})";

std::string put(const std::string& host, const std::string& vrf) {
  return R"({"op":"put","host":")" + host + R"(","vrf":")" + vrf +
         R"(","probe":"icmp","address":"192.0.2.1","latency":1.5})";
}

std::vector<std::string> demoUser(const std::string& context) {
  return {"-v3", "-l", "authPriv",       "-u", "demo", "-a", "SHA", "-A", "demo-auth-pass", "-x",
          "AES", "-X", "demo-priv-pass", "-n", context};
}

TEST(Access, TheExampleFeedShowsInBothItsVrfsAndEveryWay) {
  const AgentUnderTest agent({"--feed-file", CONMON_EXAMPLES "/feed.jsonl", "--snmp-conf",
                              CONMON_EXAMPLES "/snmpd-users.conf"});
  ASSERT_TRUE(eventually([&] { return agent.walk("public@blue").size() == 42; }));
  const Varbinds plain = agent.walk("public");
  const Varbinds blue = agent.walk("public@blue");
  EXPECT_EQ(column(plain, "1.3").size(), 5U);
  EXPECT_EQ(column(plain, "2.3").size(), 2U);
  EXPECT_EQ(column(plain, "3.3").size(), 2U);
  EXPECT_EQ(column(blue, "1.3").size(), 2U);
  EXPECT_EQ(column(blue, "2.3"), std::vector<std::string>{"\"registry\""});
  EXPECT_EQ(column(blue, "3.3").size(), 2U);
  EXPECT_EQ(agent.walk("public@default"), plain);
  EXPECT_EQ(walkWith(demoUser("blue"), agent.target()), blue);
  EXPECT_EQ(walkWith(demoUser(""), agent.target()), plain);
  EXPECT_EQ(walkWith(demoUser("default"), agent.target()), plain);
}

TEST(Access, AVrfsCommunityComesAndGoesWithItsContext) {
  const AgentUnderTest agent;
  EXPECT_TRUE(agent.walk("public@red").empty());
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, put("h", "red"), kSync});
  EXPECT_EQ(agent.walk("public@red").size(), 10U);
  feed.tell({R"({"op":"removeHost","host":"h","vrf":"red"})", kSync});
  const Outcome gone = run({"snmpget", "-v2c", "-c", "public@red", "-t", "1", "-r", "0",
                            agent.target(), ".1.3.6.1.2.1.1.3.0"});
  EXPECT_NE(gone.errors.find("Timeout"), std::string::npos) << "the community is withdrawn";
  feed.tell({put("h", "red"), kSync});
  EXPECT_EQ(agent.walk("public@red").size(), 10U);
}

TEST(Access, AVrfMayHaveAnyNameOfAtMost32Octets) {
  const AgentUnderTest agent;
  FeedClient feed(agent.feedPath());
  feed.tell({kHello});
  for (const std::string& vrf :
       {std::string("a/b"), std::string("a b"), std::string("100%"), std::string("x@y"),
        std::string("n\xc3\xb6rd"), std::string("it's"), std::string("back\\\\slash"),
        std::string(32, 'v')}) {
    feed.tell({put("h", vrf), kSync});
    std::string name = vrf;
    if (const auto twice = name.find("\\\\"); twice != std::string::npos) {
      name.erase(twice, 1);  // Escaped once for JSON.
    }
    EXPECT_EQ(agent.walk("public@" + name).size(), 10U) << vrf;
  }
}

TEST(Access, IPv6IsServedAlike) {
  const std::string target = "udp6:[::1]:" + std::to_string(freePort());
  const AgentUnderTest agent({"--listen", target});
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, put("h", "default"), put("h", "red one"), kSync});
  EXPECT_EQ(walkWith({"-v2c", "-c", "public"}, target), agent.walk("public"));
  EXPECT_EQ(walkWith({"-v2c", "-c", "public@red one"}, target).size(), 10U);
}

TEST(Access, NothingCanBeWritten) {
  const AgentUnderTest agent({"--feed-file", CONMON_EXAMPLES "/feed.jsonl"});
  ASSERT_TRUE(eventually([&] { return !agent.walk("public").empty(); }));
  const std::string oid = agent.walk("public").begin()->first;
  for (const std::string& object : {oid, std::string(".1.3.6.1.2.1.1.4.0")}) {
    const Outcome set =
        run({"snmpset", "-v2c", "-c", "public", agent.target(), object, "s", "other"});
    EXPECT_NE(set.status, 0);
    EXPECT_NE(set.errors.find("noAccess"), std::string::npos) << set.errors;
  }
}

TEST(Access, OnlyTheMonitorAndTheSystemGroupAreSeen) {
  const AgentUnderTest agent({"--feed-file", CONMON_EXAMPLES "/feed.jsonl"});
  ASSERT_TRUE(eventually([&] { return !agent.walk("public").empty(); }));
  const Outcome all = run({"snmpbulkwalk", "-v2c", "-c", "public", "-Onq", agent.target(), ".1"});
  std::istringstream lines(all.output);
  int seen = 0;
  for (std::string line; std::getline(lines, line); ++seen) {
    EXPECT_TRUE(line.starts_with(".1.3.6.1.2.1.1.") || line.starts_with(kObjects + ".")) << line;
  }
  EXPECT_GT(seen, 80);
}

TEST(Access, AnUnknownCommunityGetsNoAnswer) {
  const AgentUnderTest agent;
  for (const char* community : {"private", "public@", "public@nobody", "PUBLIC", "publi"}) {
    const Outcome get = run({"snmpget", "-v2c", "-c", community, "-t", "1", "-r", "0",
                             agent.target(), ".1.3.6.1.2.1.1.3.0"});
    EXPECT_NE(get.errors.find("Timeout"), std::string::npos) << community;
  }
}

TEST(Access, TheCommunityCanBeChosen) {
  const AgentUnderTest agent({"--community", "public"});
  FeedClient feed(agent.feedPath());
  feed.tell({kHello, put("h", "red"), kSync});
  const Scratch scratch;
  const AgentUnderTest other({"--snmp-conf", scratch.file("c", "rocommunity public 127.0.0.1\n"),
                              "--community", "secret"});
  FeedClient otherFeed(other.feedPath());
  otherFeed.tell({kHello, put("h", "default"), put("h", "red"), kSync});
  EXPECT_EQ(other.walk("secret").size(), 10U);
  EXPECT_EQ(other.walk("secret@red").size(), 10U);
  EXPECT_TRUE(other.walk("public@red").empty());
}

TEST(Access, AWalkBehindItsEndAndBesideItGetsTheRightAnswers) {
  const AgentUnderTest agent({"--feed-file", CONMON_EXAMPLES "/feed.jsonl"});
  ASSERT_TRUE(eventually([&] { return !agent.walk("public").empty(); }));
  const auto get = [&](const std::string& oid) {
    return run({"snmpget", "-v2c", "-c", "public", "-Onq", agent.target(), oid}).output;
  };
  EXPECT_NE(get(kObjects + ".1.1.12.1.97").find("No Such"), std::string::npos);
  EXPECT_NE(get(kObjects + ".1.1.0.1.97").find("No Such"), std::string::npos);
  EXPECT_NE(get(kObjects + ".1.1.2").find("No Such"), std::string::npos);
  EXPECT_NE(get(kObjects + ".1.1.2.5.97").find("No Such"), std::string::npos);
}

}  // namespace
}  // namespace Agent::Testing

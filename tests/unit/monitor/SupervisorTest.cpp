#include "monitor/watch/Supervisor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "monitor/app/Configurer.h"
#include "monitor/config/ConfigFile.h"
#include "monitor/status/Status.h"
#include "tests/unit/monitor/FakeAgent.h"
#include "tests/unit/monitor/FakeProber.h"

namespace Monitor {
namespace {

using namespace Testing;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::UnorderedElementsAre;

/// Probers whose rounds the test ends, an agent, and a configuration of one TCP probe a host.
class SupervisorTest : public testing::Test {
 protected:
  [[nodiscard]] Config config(const std::vector<int>& hosts) const {
    std::string text = "client: lab\nagent: {socket: " + agent_.path() +
                       "}\ndefaults: {interval: 20ms, timeout: 10ms}\nhosts:\n";
    if (hosts.empty()) {
      text += "  []\n";
    }
    for (const int host : hosts) {
      text += "  - {name: h" + std::to_string(host) + ", address: 192.0.2." + std::to_string(host) +
              ", tcp: {port: 1}}\n";
    }
    return parseConfig(text, "test.yaml");
  }
  /// Ends every round under way, until `reached`.
  [[nodiscard]] bool runUntil(const std::function<bool()>& reached) {
    return loop_.runUntil([&] {
      for (auto* probe : std::vector(tcp_.probes())) {
        if (probe->running()) {
          probe->finish({Outcome::kAnswered, TcpMeasurement{latency_}, "connected"});
        }
      }
      return reached();
    });
  }
  [[nodiscard]] std::vector<std::string> hosts(const std::string& client = "lab") const {
    std::vector<std::string> hosts;
    for (const auto& [key, values] : agent_.records(client)) {
      hosts.push_back(nlohmann::json::parse(key)["host"]);
    }
    return hosts;
  }
  [[nodiscard]] bool hostsBecome(const std::vector<std::string>& expected,
                                 const std::string& client = "lab") {
    return runUntil([&] { return hosts(client) == expected && supervisor_.feed()->inStep(); });
  }

  TestLoop loop_;
  FakeAgent agent_{loop_};
  FakeProber icmp_, tcp_, http_;
  double latency_ = 1;
  std::vector<std::string> logged_;
  Log log_{Severity::kWarning, &Clock::now,
           [this](std::string_view line) { logged_.emplace_back(line); }};
  Supervisor supervisor_{loop_.loop(), {icmp_, tcp_, http_}, log_};
};

TEST_F(SupervisorTest, TheConfiguredProbesBecomeRecords) {
  supervisor_.apply(config({1, 2, 3}));
  EXPECT_TRUE(hostsBecome({"h1", "h2", "h3"}));
  // A busy machine may be late for rounds of 20 ms.
  EXPECT_THAT(logged_, Each(HasSubstr("overloaded: ")));
}

TEST_F(SupervisorTest, OnlyChangedProbesAreRestarted) {
  supervisor_.apply(config({1, 2, 3}));
  ASSERT_TRUE(hostsBecome({"h1", "h2", "h3"}));
  const std::vector<FakeProber::FakeProbe*> before = tcp_.probes();
  Config next = config({1, 2, 3, 4});
  next.probes[1].timeout *= 2;
  std::erase_if(next.probes, [](const ProbeConfig& probe) { return probe.host == "h3"; });
  supervisor_.apply(std::move(next));
  EXPECT_EQ(tcp_.made(), 5);
  ASSERT_THAT(tcp_.probes(), SizeIs(3));
  EXPECT_EQ(tcp_.probes()[0], before[0]);
  EXPECT_TRUE(hostsBecome({"h1", "h2", "h4"}));
}

TEST_F(SupervisorTest, AReloadThatChangesNothingTouchesNothing) {
  supervisor_.apply(config({1, 2}));
  ASSERT_TRUE(hostsBecome({"h1", "h2"}));
  agent_.gapsForgotten();
  supervisor_.apply(config({1, 2}));
  EXPECT_TRUE(hostsBecome({"h1", "h2"}));
  EXPECT_EQ(tcp_.made(), 2);
  EXPECT_EQ(agent_.accepted(), 1);
  EXPECT_FALSE(agent_.sawGap());
}

TEST_F(SupervisorTest, ManyReloadsAndAgentRestartsEndWithExactlyTheRightRecords) {
  for (int turn = 0; turn < 30; ++turn) {
    SCOPED_TRACE(turn);
    std::vector<int> numbers;
    std::vector<std::string> expected;
    for (int host = 1; host <= 9; ++host) {
      if ((turn * 7 + host) % 3 != 0) {
        numbers.push_back(host);
        expected.push_back("h" + std::to_string(host));
      }
    }
    supervisor_.apply(config(numbers));
    if (turn % 4 == 1) {
      agent_.dropped();
    } else if (turn % 4 == 2) {
      agent_.closed();
      agent_.recordsForgotten();
      agent_.open();
    }
    ASSERT_TRUE(hostsBecome(expected));
  }
}

TEST_F(SupervisorTest, RecordsOfAnEarlierProcessGoOnceEveryProbeHasAResult) {
  Mirror earlier;
  {
    FeedClient feed(loop_.loop(), "lab", {agent_.path(), std::chrono::seconds(60)}, earlier, log_);
    earlier.put(R"("host":"stale","probe":"tcp","address":"192.0.2.9","port":1)", ",\"latency\":1",
                this);
    ASSERT_TRUE(loop_.runUntil([&] { return feed.inStep(); }));
  }
  ASSERT_THAT(hosts(), ElementsAre("stale"));
  supervisor_.apply(config({1, 2}));
  // As long as a probe has no result the old records are worth more than none.
  ASSERT_TRUE(loop_.runUntil([&] { return supervisor_.feed()->inStep(); }));
  EXPECT_THAT(hosts(), ElementsAre("stale"));
  EXPECT_TRUE(hostsBecome({"h1", "h2"}));
}

TEST_F(SupervisorTest, WithoutProbesRecordsOfAnEarlierProcessGoAtOnce) {
  Mirror earlier;
  {
    FeedClient feed(loop_.loop(), "lab", {agent_.path(), std::chrono::seconds(60)}, earlier, log_);
    earlier.put(R"("host":"stale","probe":"tcp","address":"192.0.2.9","port":1)", "", this);
    ASSERT_TRUE(loop_.runUntil([&] { return feed.inStep(); }));
  }
  supervisor_.apply(config({}));
  EXPECT_TRUE(hostsBecome({}));
}

TEST_F(SupervisorTest, AnotherClientNameLeavesNoRecordsUnderTheOldOne) {
  supervisor_.apply(config({1, 2}));
  ASSERT_TRUE(hostsBecome({"h1", "h2"}));
  Config next = config({1, 2});
  next.client = "other";
  supervisor_.apply(next);
  EXPECT_TRUE(hostsBecome({"h1", "h2"}, "other"));
  EXPECT_TRUE(runUntil([&] { return hosts("lab").empty(); }));
  EXPECT_EQ(tcp_.made(), 2);
}

TEST_F(SupervisorTest, AClientNameThatComesBackBeforeTheAgentHasAnsweredItsLeavingKeepsItsRecords) {
  supervisor_.apply(config({1, 2}));
  ASSERT_TRUE(hostsBecome({"h1", "h2"}));
  agent_.presentAreRead(false);
  Config next = config({1, 2});
  next.client = "other";
  supervisor_.apply(next);
  ASSERT_TRUE(hostsBecome({"h1", "h2"}, "other"));
  const int before = tcp_.made();
  supervisor_.apply(config({1, 2}));
  ASSERT_TRUE(runUntil([&] { return hosts("other").empty(); }));
  ASSERT_TRUE(runUntil([turns = 0]() mutable { return ++turns > 20; }));
  EXPECT_EQ(agent_.accepted(), 2) << "connected while the removal of its records is still to come";
  agent_.presentAreRead(true);
  // The one that left is gone, and the one that came back has said everything.
  EXPECT_TRUE(runUntil([&] {
    return agent_.connections() == 1 && supervisor_.feed()->inStep() && hosts("lab").size() == 2;
  }));
  EXPECT_EQ(hosts("lab"), (std::vector<std::string>{"h1", "h2"}));
  EXPECT_EQ(tcp_.made(), before);
}

TEST_F(SupervisorTest, AnotherAgentGetsTheRecordsAndTheOldOneLosesThem) {
  supervisor_.apply(config({1}));
  ASSERT_TRUE(hostsBecome({"h1"}));
  Config next = config({1});
  next.agent.socket = "/nonexistent/feed.sock";
  supervisor_.apply(next);
  EXPECT_TRUE(runUntil([&] { return hosts().empty(); }));
  supervisor_.apply(config({1}));
  EXPECT_TRUE(hostsBecome({"h1"}));
}

TEST_F(SupervisorTest, AnotherHoldTimeIsToldToTheAgent) {
  supervisor_.apply(config({1}));
  ASSERT_TRUE(hostsBecome({"h1"}));
  Config next = config({1});
  next.agent.hold = std::chrono::seconds(5);
  supervisor_.apply(next);
  EXPECT_TRUE(
      runUntil([&] { return agent_.countOf("hello") == 2 && supervisor_.feed()->inStep(); }));
  EXPECT_EQ(agent_.lines().at(0)["holdSeconds"], 60);
}

TEST_F(SupervisorTest, WhileTheAgentIsAwayMeasuringGoesOn) {
  supervisor_.apply(config({1}));
  ASSERT_TRUE(hostsBecome({"h1"}));
  agent_.closed();
  ASSERT_TRUE(runUntil([&] { return !supervisor_.feed()->connected(); }));
  const int before = tcp_.probes().front()->starts();
  ASSERT_TRUE(runUntil([&] { return tcp_.probes().front()->starts() >= before + 3; }));
  latency_ = 42;
  agent_.open();
  EXPECT_TRUE(runUntil([&] {
    const auto records = agent_.records("lab");
    return !records.empty() && records.begin()->second["latency"] == 42.0;
  }));
}

TEST_F(SupervisorTest, AProtocolThatCannotBeUsedIsAnErrorAndTheConfigurationOfBeforeGoesOn) {
  supervisor_.apply(config({1}));
  ASSERT_TRUE(hostsBecome({"h1"}));
  icmp_.unavailableIs("ICMP needs CAP_NET_RAW");
  Config next = config({2});
  next.probes.push_back(next.probes.front());
  next.probes.back().parameters = IcmpParameters{};
  EXPECT_THROW(supervisor_.apply(next), std::runtime_error);
  EXPECT_EQ(supervisor_.config().probes.front().host, "h1");
  EXPECT_TRUE(hostsBecome({"h1"}));
  // Where it is not asked for it does not matter.
  supervisor_.apply(config({2}));
  EXPECT_TRUE(hostsBecome({"h2"}));
}

TEST_F(SupervisorTest, TheStatusTellsEveryProbeAndEveryCounter) {
  supervisor_.apply(config({1, 2}));
  ASSERT_TRUE(hostsBecome({"h1", "h2"}));
  const Configurer configurer("/etc/x.yaml", {}, {}, log_);
  const auto status = nlohmann::json::parse(statusText(supervisor_, configurer));
  EXPECT_EQ(status["client"], "lab");
  EXPECT_EQ(status["agent"]["connected"], true);
  EXPECT_EQ(status["agent"]["records"], 2);
  EXPECT_EQ(status["schedule"]["started"], supervisor_.schedule().started());
  EXPECT_EQ(status["schedule"]["overloaded"], supervisor_.overload().rounds());
  EXPECT_EQ(status["configuration"]["file"], "/etc/x.yaml");
  EXPECT_EQ(status["configuration"]["error"], nullptr);
  ASSERT_THAT(status["probes"], SizeIs(2));
  const auto& probe = status["probes"][0];
  EXPECT_EQ(probe["host"], "h1");
  EXPECT_EQ(probe["outcome"], "answered");
  EXPECT_EQ(probe["latency"], 1.0);
  EXPECT_EQ(probe["address"], "192.0.2.1");
  EXPECT_GE(probe["rounds"], 1);
}

}  // namespace
}  // namespace Monitor

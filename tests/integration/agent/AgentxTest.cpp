// The process as a subagent of a real stock master.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "AgentUnderTest.h"

namespace Agent::Testing {
namespace {

using namespace std::chrono_literals;

class AgentxTest : public testing::Test {
 protected:
  void startMaster() {
    setenv("SNMP_PERSISTENT_FILE", scratch_.path("persistent").c_str(), 1);
    const std::string conf =
        scratch_.file("snmpd.conf", "master agentx\nagentXSocket " + socket_ +
                                        "\n"
                                        "com2sec plain 127.0.0.1 public\n"
                                        "com2sec -Cn blue inblue 127.0.0.1 public@blue\n"
                                        "group readers v2c plain\ngroup readers v2c inblue\n"
                                        "view all included .1\n"
                                        "access readers \"\" any noauth prefix all none none\n"
                                        "dontLogTCPWrappersConnects yes\n");
    master_ = std::make_unique<Child>(
        std::vector<std::string>{"snmpd", "-f", "-C", "-c", conf, "-Lf", scratch_.path("snmpd.log"),
                                 "-p", scratch_.path("snmpd.pid"),
                                 // No SMUX and none of the host's own tables.
                                 "-I", "-smux", "udp:" + target_},
        scratch_.path("snmpd.out"), scratch_.path("snmpd.errors"));
  }
  void startSubagent() {
    subagent_ = std::make_unique<Child>(
        std::vector<std::string>{CONMON_AGENT, "--plugin", CONMON_PLUGIN, "--agentx", socket_,
                                 "--feed-file", CONMON_EXAMPLES "/feed.jsonl", "--feed",
                                 scratch_.path("feed")},
        scratch_.path("out"), scratch_.path("errors"));
  }
  [[nodiscard]] Varbinds walk(const char* community) const {
    return walkWith({"-v2c", "-c", community}, target_);
  }
  [[nodiscard]] bool allIsServed() const {
    return eventually(
        [this] { return walk("public").size() == 78 && walk("public@blue").size() == 42; }, 40s);
  }

  Scratch scratch_;
  std::string socket_ = "unix:" + scratch_.path("master");
  std::string target_ = "127.0.0.1:" + std::to_string(freePort());
  std::unique_ptr<Child> master_;
  std::unique_ptr<Child> subagent_;
};

TEST_F(AgentxTest, TheMasterServesOurTablesContextsIncluded) {
  startMaster();
  startSubagent();
  ASSERT_TRUE(allIsServed()) << readFile(scratch_.path("errors"));
  const AgentUnderTest alone({"--feed-file", CONMON_EXAMPLES "/feed.jsonl"});
  ASSERT_TRUE(eventually([&] { return alone.walk("public@blue").size() == 42; }));
  EXPECT_EQ(walk("public"), alone.walk("public"));
  EXPECT_EQ(walk("public@blue"), alone.walk("public@blue"));
}

TEST_F(AgentxTest, ItComesBackByItselfAfterTheMasterWasKilledAndRestarted) {
  startMaster();
  startSubagent();
  ASSERT_TRUE(allIsServed());
  master_->signal(SIGKILL);
  ASSERT_TRUE(master_->wait(10s));
  startMaster();
  EXPECT_TRUE(allIsServed()) << readFile(scratch_.path("errors"));
  EXPECT_TRUE(subagent_->running());
}

TEST_F(AgentxTest, AMasterThatIsNotThereYetIsWaitedForAndSaidOnce) {
  startSubagent();
  pause(7s);  // Several tries.
  ASSERT_TRUE(subagent_->running());
  EXPECT_EQ(readFile(scratch_.path("errors")),
            "<4>no AgentX master at " + socket_ + "; trying again every 2 seconds\n");
  startMaster();
  EXPECT_TRUE(allIsServed());
}

TEST_F(AgentxTest, RecordsThatComeWhileThereIsNoMasterAreServedLater) {
  startSubagent();
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(scratch_.path("feed")); }));
  FeedClient feed(scratch_.path("feed"));
  feed.tell({R"({"op":"hello","client":"x"})",
             R"({"op":"put","host":"h","vrf":"blue","probe":"icmp","address":"::1"})",
             R"({"op":"sync"})"});
  startMaster();
  EXPECT_TRUE(eventually([&] { return walk("public@blue").size() == 52; }, 40s));
}

TEST_F(AgentxTest, ItStopsCleanlyWithAndWithoutAMaster) {
  startMaster();
  startSubagent();
  ASSERT_TRUE(allIsServed());
  subagent_->signal(SIGTERM);
  EXPECT_EQ(subagent_->wait(20s), 0);
  EXPECT_TRUE(eventually([&] { return walk("public").empty(); }));
  master_.reset();
  startSubagent();
  ASSERT_TRUE(eventually([&] { return !readFile(scratch_.path("errors")).empty(); }));
  subagent_->signal(SIGTERM);
  EXPECT_EQ(subagent_->wait(20s), 0);
}

TEST_F(AgentxTest, NoSocketOfItsOwnAnswersRequests) {
  startMaster();
  startSubagent();
  ASSERT_TRUE(allIsServed());
  const std::string own = readFile("/proc/" + std::to_string(subagent_->pid()) + "/net/udp");
  int udp = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator("/proc/" + std::to_string(subagent_->pid()) + "/fd")) {
    std::error_code gone;
    const std::string link = std::filesystem::read_symlink(entry.path(), gone).string();
    if (link.starts_with("socket:[")) {
      udp += own.find(" " + link.substr(8, link.size() - 9) + " ") != std::string::npos ? 1 : 0;
    }
  }
  EXPECT_EQ(udp, 0);
}

}  // namespace
}  // namespace Agent::Testing

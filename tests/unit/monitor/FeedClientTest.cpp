#include "monitor/feed/FeedClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "monitor/feed/Record.h"
#include "tests/unit/monitor/FakeAgent.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using namespace Testing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const int kOwner = 0;

std::string key(int number) {
  return R"("host":"h","probe":"tcp","address":"192.0.2.1","port":)" + std::to_string(number);
}

class FeedClientTest : public testing::Test {
 protected:
  std::unique_ptr<FeedClient> client(const std::string& name = "lab") {
    return std::make_unique<FeedClient>(loop_.loop(), name, AgentConfig{agent_.path(), 60s},
                                        mirror_, log_, FeedPatience{1ms, 4ms, 10s});
  }
  void put(int number, double latency = 1.5) {
    mirror_.put(key(number), R"(,"latency":)" + std::to_string(latency), &kOwner);
  }
  void remove(int number) { mirror_.remove(key(number), &kOwner); }
  [[nodiscard]] bool inStep(const FeedClient& client) {
    return loop_.runUntil([&] { return client.inStep(); });
  }
  [[nodiscard]] std::vector<int> ports(const std::string& client = "lab") const {
    std::vector<int> ports;
    for (const auto& [text, values] : agent_.records(client)) {
      ports.push_back(nlohmann::json::parse(text)["port"]);
    }
    return ports;
  }

  TestLoop loop_;
  FakeAgent agent_{loop_};
  Mirror mirror_;
  std::vector<std::string> logged_;
  Log log_{Severity::kWarning, &Clock::now,
           [this](std::string_view line) { logged_.emplace_back(line); }};
};

TEST_F(FeedClientTest, SaysHelloThenTheRecordsThenSync) {
  put(1);
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  ASSERT_THAT(agent_.lines(), SizeIs(3));
  EXPECT_EQ(agent_.lines()[0],
            (nlohmann::json{{"op", "hello"}, {"client", "lab"}, {"holdSeconds", 60.0}}));
  EXPECT_EQ(agent_.lines()[1]["op"], "put");
  EXPECT_EQ(agent_.lines()[2]["op"], "sync");
  EXPECT_THAT(ports(), ElementsAre(1));
  EXPECT_THAT(logged_, IsEmpty());
}

TEST_F(FeedClientTest, ChangesFollowAsTheyHappen) {
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  put(1);
  put(2);
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(ports(), ElementsAre(1, 2));
  remove(1);
  put(2, 7.5);
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(ports(), ElementsAre(2));
  EXPECT_EQ(agent_.records("lab").begin()->second["latency"], 7.5);
}

TEST_F(FeedClientTest, AnAgentThatIsNotThereIsTriedAgainAndSaidOnce) {
  agent_.closed();
  put(1);
  const auto feed = client();
  ASSERT_TRUE(loop_.runUntil([&] { return !logged_.empty(); }));
  for (int turn = 0; turn < 10; ++turn) {
    (void)loop_.runUntil([turns = 0]() mutable { return ++turns > 2; });
  }
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("No such file or directory; trying again")));
  agent_.open();
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(ports(), ElementsAre(1));
  EXPECT_THAT(logged_, ElementsAre(testing::_, HasSubstr(": connected")));
}

TEST_F(FeedClientTest, AfterAReconnectTheAgentHoldsThePresentStateAndNoRowWasMissing) {
  put(1);
  put(2);
  put(3);
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  agent_.closed();
  ASSERT_TRUE(loop_.runUntil([&] { return !feed->connected(); }));
  put(2, 7.5);
  remove(3);
  put(4);
  agent_.gapsForgotten();
  agent_.open();
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(ports(), ElementsAre(1, 2, 4));
  EXPECT_EQ(agent_.countOf("removeClient"), 0U);
  EXPECT_EQ(agent_.countOf("remove"), 1U);
}

TEST_F(FeedClientTest, ANewAgentProcessIsToldEverything) {
  put(1);
  put(2);
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  agent_.dropped();
  agent_.recordsForgotten();
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.accepted() == 2 && feed->inStep(); }));
  EXPECT_THAT(ports(), ElementsAre(1, 2));
}

TEST_F(FeedClientTest, WhatAnEarlierProcessLeftIsClearedByASweepAndOnlyOnce) {
  put(1);
  put(8);
  put(9);
  auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  feed.reset();
  Mirror fresh;
  FeedClient next(loop_.loop(), "lab", {agent_.path(), 60s}, fresh, log_, {1ms, 4ms, 10s});
  fresh.put(key(1), R"(,"latency":2)", &kOwner);
  ASSERT_TRUE(inStep(next));
  EXPECT_THAT(ports(), ElementsAre(1, 8, 9));
  next.sweep();
  ASSERT_TRUE(inStep(next));
  EXPECT_THAT(ports(), ElementsAre(1));
  agent_.dropped();
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.accepted() == 3 && next.inStep(); }));
  next.sweep();
  ASSERT_TRUE(inStep(next));
  EXPECT_EQ(agent_.countOf("removeClient"), 1U);
}

TEST_F(FeedClientTest, ASweepThatWasNotAnsweredIsMadeAgain) {
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  agent_.silentIs(true);
  feed->sweep();
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.countOf("removeClient") == 1; }));
  agent_.silentIs(false);
  agent_.dropped();
  ASSERT_TRUE(
      loop_.runUntil([&] { return agent_.countOf("removeClient") == 2 && feed->inStep(); }));
}

TEST_F(FeedClientTest, ASweepThatIsAskedForBeforeTheFirstConnectionWaitsForIt) {
  put(1);
  const auto feed = client();
  feed->sweep();
  ASSERT_TRUE(inStep(*feed));
  EXPECT_EQ(agent_.countOf("removeClient"), 1U);
  EXPECT_THAT(ports(), ElementsAre(1));
}

TEST_F(FeedClientTest, MoreRecordsThanMayBeUnderWayAllArrive) {
  constexpr int kRecords = 5000;
  for (int i = 1; i <= kRecords; ++i) {
    put(i);
  }
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(agent_.records("lab"), SizeIs(kRecords));
}

TEST_F(FeedClientTest, AnAgentThatTakesLinesWithoutAnsweringHasABoundedNumberOfThem) {
  agent_.silentIs(false);
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  agent_.silentIs(true);
  for (int i = 1; i <= 5000; ++i) {
    put(i);
  }
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.countOf("put") >= 500; }));
  loop_.runReady();
  EXPECT_LT(agent_.countOf("put"), 1000U);
}

TEST_F(FeedClientTest, AnAgentThatDoesNotAnswerIsLeftAndTriedAgain) {
  agent_.silentIs(true);
  FeedClient feed(loop_.loop(), "lab", {agent_.path(), 60s}, mirror_, log_, {1ms, 4ms, 20ms});
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.accepted() >= 2; }));
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("no answer")));
}

TEST_F(FeedClientTest, ARefusedLineIsSaidOnceAndTheRestGoesOn) {
  agent_.refusesWhat("\"port\":2,");
  put(1);
  put(2);
  put(3);
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(ports(), ElementsAre(1, 3));
  put(2, 8.5);
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("refused a line: no")));
  std::uint64_t refused = 0;
  for (const Counter& counter : feed->counters()) {
    refused += counter.name == "refused lines" ? counter.value : 0;
  }
  EXPECT_EQ(refused, 2U);
}

TEST_F(FeedClientTest, ARefusedHelloIsAnErrorInWords) {
  agent_.refusesWhat("hello");
  const auto feed = client();
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.accepted() >= 2; }));
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("refused: no")));
  EXPECT_FALSE(feed->connected());
}

TEST_F(FeedClientTest, GarbageForAnAnswerHarmsNobody) {
  agent_.answersAlways("[1,");
  put(1);
  const auto feed = client();
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.accepted() >= 2; }));
  EXPECT_THAT(logged_, SizeIs(1));
  agent_.answersAlways("");
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(ports(), ElementsAre(1));
}

TEST_F(FeedClientTest, LeavingRemovesTheRecordsAndMayDestroyTheClient) {
  put(1);
  auto feed = client("old");
  ASSERT_TRUE(inStep(*feed));
  feed->leave([&] { feed.reset(); });
  ASSERT_TRUE(loop_.runUntil([&] { return feed == nullptr; }));
  EXPECT_THAT(ports("old"), IsEmpty());
}

TEST_F(FeedClientTest, LeavingAnAgentThatIsNotThereEndsToo) {
  agent_.closed();
  auto feed = client();
  feed->leave([&] { feed.reset(); });
  EXPECT_TRUE(loop_.runUntil([&] { return feed == nullptr; }));
}

TEST_F(FeedClientTest, LeavingAnAgentThatGoesAwayEndsToo) {
  auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  agent_.silentIs(true);
  feed->leave([&] { feed.reset(); });
  agent_.closed();
  EXPECT_TRUE(loop_.runUntil([&] { return feed == nullptr; }));
}

TEST_F(FeedClientTest, TheNextClientOfTheSameMirrorSaysEverythingUnderItsOwnName) {
  put(1);
  auto old = client("old");
  ASSERT_TRUE(inStep(*old));
  old->leave([&] { old.reset(); });
  const auto feed = client("new");
  put(2);
  ASSERT_TRUE(loop_.runUntil([&] { return old == nullptr && feed->inStep(); }));
  put(3);
  ASSERT_TRUE(inStep(*feed));
  EXPECT_THAT(ports("old"), IsEmpty());
  EXPECT_THAT(ports("new"), ElementsAre(1, 2, 3));
}

TEST_F(FeedClientTest, AnotherHoldTimeIsToldWithoutTouchingTheRecords) {
  put(1);
  const auto feed = client();
  ASSERT_TRUE(inStep(*feed));
  agent_.gapsForgotten();
  feed->holdIs(5s);
  ASSERT_TRUE(loop_.runUntil([&] { return agent_.countOf("hello") == 2 && feed->inStep(); }));
  double hold = 0;
  for (const auto& line : agent_.lines()) {
    hold = line.value("holdSeconds", hold);
  }
  EXPECT_EQ(hold, 5.0);
  EXPECT_FALSE(agent_.sawGap());
  EXPECT_THAT(logged_, IsEmpty());
}

TEST_F(FeedClientTest, APathThatIsNoSocketsIsAnErrorInWords) {
  const FeedClient feed(loop_.loop(), "lab", {std::string(200, 'x'), 60s}, mirror_, log_,
                        {1ms, 4ms, 10s});
  ASSERT_TRUE(loop_.runUntil([&] { return !logged_.empty(); }));
  EXPECT_THAT(logged_, ElementsAre(HasSubstr("the path is too long for a socket")));
}

}  // namespace
}  // namespace Monitor

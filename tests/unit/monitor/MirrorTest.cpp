#include "monitor/feed/Mirror.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>

namespace Monitor {
namespace {

const int kOne = 1;
const int kTwo = 2;

std::vector<std::string> linesOf(Mirror& mirror) {
  std::vector<std::string> lines;
  while (const auto step = mirror.next()) {
    lines.push_back(step->line);
    mirror.answered(step->key);
  }
  return lines;
}

TEST(Mirror, APutIsSaidOnce) {
  Mirror mirror;
  mirror.put("k", ",v1", &kOne);
  EXPECT_THAT(linesOf(mirror), testing::ElementsAre("{\"op\":\"put\",k,v1}\n"));
  EXPECT_THAT(linesOf(mirror), testing::IsEmpty());
  EXPECT_EQ(mirror.size(), 1U);
}

TEST(Mirror, ChangesOfOneKeyThatWaitAreMerged) {
  Mirror mirror;
  for (int i = 0; i < 1000; ++i) {
    mirror.put("k", ",v" + std::to_string(i), &kOne);
  }
  EXPECT_THAT(linesOf(mirror), testing::ElementsAre("{\"op\":\"put\",k,v999}\n"));
}

TEST(Mirror, TheSameValuesAreNotSaidAgainOnOneConnection) {
  Mirror mirror;
  mirror.put("k", ",v", &kOne);
  (void)linesOf(mirror);
  mirror.put("k", ",v", &kOne);
  EXPECT_THAT(linesOf(mirror), testing::IsEmpty());
  mirror.put("k", ",w", &kOne);
  EXPECT_THAT(linesOf(mirror), testing::SizeIs(1));
}

TEST(Mirror, ARemovalIsSaidAndThenForgotten) {
  Mirror mirror;
  mirror.put("k", ",v", &kOne);
  (void)linesOf(mirror);
  mirror.remove("k", &kOne);
  EXPECT_EQ(mirror.size(), 0U);
  EXPECT_THAT(linesOf(mirror), testing::ElementsAre("{\"op\":\"remove\",k}\n"));
  mirror.sayAll();
  EXPECT_THAT(linesOf(mirror), testing::IsEmpty());
}

TEST(Mirror, ARemovalThatWasNotConfirmedIsSaidOnTheNextConnectionToo) {
  Mirror mirror;
  mirror.put("k", ",v", &kOne);
  (void)linesOf(mirror);
  mirror.remove("k", &kOne);
  ASSERT_TRUE(mirror.next());
  mirror.sayAll();
  EXPECT_THAT(linesOf(mirror), testing::ElementsAre("{\"op\":\"remove\",k}\n"));
}

TEST(Mirror, TheConfirmationOfAnEarlierRemovalDoesNotForgetALaterOne) {
  Mirror mirror;
  mirror.put("k", ",v1", &kOne);
  (void)linesOf(mirror);
  mirror.remove("k", &kOne);
  (void)mirror.next();
  mirror.put("k", ",v2", &kOne);
  (void)mirror.next();
  mirror.remove("k", &kOne);
  (void)mirror.next();
  mirror.answered("k");  // Only the first removal; then the connection is lost.
  mirror.sayAll();
  EXPECT_THAT(linesOf(mirror), testing::ElementsAre("{\"op\":\"remove\",k}\n"));
}

TEST(Mirror, ANewConnectionIsToldEverything) {
  Mirror mirror;
  mirror.put("a", ",v", &kOne);
  mirror.put("b", ",v", &kOne);
  (void)linesOf(mirror);
  mirror.sayAll();
  EXPECT_THAT(linesOf(mirror),
              testing::UnorderedElementsAre("{\"op\":\"put\",a,v}\n", "{\"op\":\"put\",b,v}\n"));
}

TEST(Mirror, AKeyThatTwoClaimShowsTheLaterOneAndOnlyItsOwnerWithdrawsIt) {
  Mirror mirror;
  EXPECT_TRUE(mirror.put("k", ",v1", &kOne));
  EXPECT_FALSE(mirror.put("k", ",v2", &kTwo));
  mirror.remove("k", &kOne);
  EXPECT_THAT(linesOf(mirror), testing::ElementsAre("{\"op\":\"put\",k,v2}\n"));
  mirror.remove("k", &kTwo);
  EXPECT_THAT(linesOf(mirror), testing::ElementsAre("{\"op\":\"remove\",k}\n"));
}

TEST(Mirror, TheListenerHearsOfEveryNewThingToSay) {
  Mirror mirror;
  int calls = 0;
  mirror.listenerIs([&] { ++calls; });
  mirror.put("k", ",v", &kOne);
  EXPECT_EQ(calls, 1);
  (void)linesOf(mirror);
  mirror.remove("k", &kOne);
  EXPECT_EQ(calls, 2);
  mirror.listenerIs(nullptr);
  mirror.put("k", ",v", &kOne);
}

/// An agent that carries lines out in order, and whose connection is lost at any moment: with lines
/// it never saw, and with answers that never came back.
class ModelAgent {
 public:
  void take(const Mirror::Step& step) { received_.push_back(step); }
  void carryOutOne() {
    const Mirror::Step step = received_.front();
    received_.erase(received_.begin());
    if (step.line.starts_with("{\"op\":\"put\"")) {
      records_[step.key] = step.line;
    } else {
      records_.erase(step.key);
    }
    answers_.push_back(step.key);
  }
  std::optional<std::string> answer() {
    if (answers_.empty()) {
      return std::nullopt;
    }
    std::string key = answers_.front();
    answers_.erase(answers_.begin());
    return key;
  }
  void lose() {
    received_.clear();
    answers_.clear();
  }
  [[nodiscard]] bool busy() const { return !received_.empty(); }
  [[nodiscard]] const std::map<std::string, std::string>& records() const { return records_; }

 private:
  std::vector<Mirror::Step> received_;
  std::vector<std::string> answers_;
  std::map<std::string, std::string> records_;
};

TEST(Mirror, AfterAnyConnectionLossesTheAgentEndsWithExactlyWhatIsWanted) {
  for (unsigned seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Mirror mirror;
    ModelAgent agent;
    std::map<std::string, std::string> wanted;
    for (int step = 0; step < 400; ++step) {
      const std::string key = "k" + std::to_string(random() % 5);
      switch (random() % 8) {
        case 0:
        case 1: {
          const std::string values = ",v" + std::to_string(random());
          mirror.put(key, values, &kOne);
          wanted[key] = values;
          break;
        }
        case 2:
          mirror.remove(key, &kOne);
          wanted.erase(key);
          break;
        case 3:
        case 4:
          if (const auto next = mirror.next()) {
            agent.take(*next);
          }
          break;
        case 5:
          if (agent.busy()) {
            agent.carryOutOne();
          }
          break;
        case 6:
          if (const auto answered = agent.answer()) {
            mirror.answered(*answered);
          }
          break;
        default:
          if (random() % 5 == 0) {
            agent.lose();
            mirror.sayAll();
          }
      }
    }
    agent.lose();
    mirror.sayAll();
    while (const auto next = mirror.next()) {
      agent.take(*next);
      agent.carryOutOne();
      mirror.answered(*agent.answer());
    }
    std::map<std::string, std::string> expected;
    for (const auto& [key, values] : wanted) {
      expected[key] = "{\"op\":\"put\"," + key + values + "}\n";
    }
    EXPECT_EQ(agent.records(), expected);
    EXPECT_EQ(mirror.size(), wanted.size());
  }
}

}  // namespace
}  // namespace Monitor

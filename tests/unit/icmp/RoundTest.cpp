#include "monitor/icmp/Round.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace Monitor::Icmp {
namespace {

using namespace std::chrono_literals;
using Match = Round::Match;

constexpr std::uint64_t kToken = 77;
constexpr std::uint16_t kFirst = 65'534;  // the sequence wraps within a round

class RoundTest : public ::testing::Test {
 protected:
  RoundTest() {
    round.begin(kToken, kFirst, 5);
    for (std::uint32_t i = 0; i < 5; ++i) {
      EXPECT_EQ(round.nextRequest(9, 1), echo(i));
      round.requestSent(sentAt(i));
    }
  }
  static Echo echo(std::uint32_t index) {
    return {1, static_cast<std::uint16_t>(kFirst + index), {kToken, 9, index}};
  }
  static Clock::time_point sentAt(std::uint32_t index) {
    return Clock::time_point(1000s) + index * 20ms;
  }
  Match answer(std::uint32_t index, Clock::duration trip) {
    return round.answer(echo(index), sentAt(index) + trip);
  }
  Round round;
};

TEST_F(RoundTest, MeanAndJitterAreThoseOfTheRoundTripTimes) {
  for (const std::uint32_t ms : {0U, 1U, 2U, 3U, 4U}) {
    EXPECT_EQ(answer(ms, std::vector{10ms, 14ms, 12ms, 12ms, 22ms}[ms]), Match::kAnswer);
  }
  EXPECT_TRUE(round.resolved());
  const Summary summary = round.summarize(1s);
  EXPECT_DOUBLE_EQ(summary.mean.count(), 14.0);
  EXPECT_DOUBLE_EQ(summary.jitter.value().count(), (4 + 2 + 0 + 10) / 4.0);
  EXPECT_DOUBLE_EQ(summary.lossPercent, 0);
  EXPECT_EQ(summary.answered, 5U);
}

TEST_F(RoundTest, JitterTakesNeighboursAmongTheAnsweredInTheOrderOfSending) {
  EXPECT_EQ(answer(4, 30ms), Match::kAnswer);
  EXPECT_EQ(answer(0, 200ms), Match::kReordered);
  EXPECT_EQ(answer(2, 50ms), Match::kReordered);
  const Summary summary = round.summarize(1s);
  EXPECT_DOUBLE_EQ(summary.jitter.value().count(), (150 + 20) / 2.0);
  EXPECT_DOUBLE_EQ(summary.lossPercent, 40);
}

TEST_F(RoundTest, OneAnswerHasNoJitter) {
  answer(3, 8ms);
  const Summary summary = round.summarize(1s);
  EXPECT_DOUBLE_EQ(summary.mean.count(), 8);
  EXPECT_EQ(summary.jitter, std::nullopt);
  EXPECT_DOUBLE_EQ(summary.lossPercent, 80);
}

TEST_F(RoundTest, NoAnswerIsAllLostAndHasNoTimes) {
  const Summary summary = round.summarize(1s);
  EXPECT_DOUBLE_EQ(summary.lossPercent, 100);
  EXPECT_DOUBLE_EQ(summary.mean.count(), 0);
  EXPECT_EQ(summary.jitter, std::nullopt);
}

TEST_F(RoundTest, TheSecondAnswerToARequestIsADuplicateAndChangesNothing) {
  answer(0, 10ms);
  EXPECT_EQ(answer(0, 90ms), Match::kDuplicate);
  EXPECT_DOUBLE_EQ(round.summarize(1s).mean.count(), 10);
  EXPECT_EQ(round.summarize(1s).answered, 1U);
}

TEST_F(RoundTest, AnAnswerBeyondTheTimeoutIsLateAndLost) {
  answer(0, 100ms);
  answer(1, 101ms);
  const Summary summary = round.summarize(100ms);
  EXPECT_EQ(summary.answered, 1U);
  EXPECT_EQ(summary.late, 1U);
  EXPECT_DOUBLE_EQ(summary.mean.count(), 100);
  EXPECT_DOUBLE_EQ(summary.lossPercent, 80);
}

TEST_F(RoundTest, AfterItsEndAnAnswerIsLateOnceAndThenADuplicate) {
  answer(0, 10ms);
  round.end();
  EXPECT_EQ(answer(1, 10ms), Match::kLate);
  EXPECT_EQ(answer(1, 11ms), Match::kDuplicate);
  EXPECT_EQ(answer(0, 12ms), Match::kDuplicate);
  EXPECT_EQ(round.summarize(1s).answered, 1U);
}

TEST_F(RoundTest, AnotherTokenSequenceOrIndexIsForeign) {
  const auto at = sentAt(4) + 1ms;
  Echo other = echo(1);
  other.mark.token ^= 1;
  EXPECT_EQ(round.answer(other, at), Match::kForeign);
  other = echo(1);
  other.sequence = static_cast<std::uint16_t>(other.sequence + 1);
  EXPECT_EQ(round.answer(other, at), Match::kForeign);
  other = echo(1);
  other.mark.index = 2;
  EXPECT_EQ(round.answer(other, at), Match::kForeign);
  EXPECT_EQ(round.answer(echo(5), at), Match::kForeign);
  EXPECT_EQ(round.summarize(1s).answered, 0U);
}

TEST_F(RoundTest, AnAnswerToARequestNotYetSentIsForeign) {
  round.begin(kToken, kFirst, 5);
  round.requestSent(sentAt(0));
  EXPECT_EQ(answer(1, 1ms), Match::kForeign);
  EXPECT_EQ(answer(0, 1ms), Match::kAnswer);
  EXPECT_FALSE(round.resolved());
}

TEST_F(RoundTest, TheKernelsTimeOfSendingReplacesOurs) {
  answer(0, 10ms);
  round.stampSent(echo(0), sentAt(0) + 4ms);
  EXPECT_DOUBLE_EQ(round.summarize(1s).mean.count(), 6);
}

TEST_F(RoundTest, TheTimeOfSendingOfAnotherRoundIsNotTaken) {
  answer(0, 10ms);
  Echo other = echo(0);
  other.mark.token ^= 1;
  round.stampSent(other, sentAt(0) + 4ms);
  EXPECT_DOUBLE_EQ(round.summarize(1s).mean.count(), 10);
}

TEST_F(RoundTest, AClockThatRunsBackwardsGivesNoNegativeTime) {
  round.answer(echo(0), sentAt(0) - 1us);
  EXPECT_DOUBLE_EQ(round.summarize(1s).mean.count(), 0);
}

TEST_F(RoundTest, ARefusedRequestIsResolvedAndLost) {
  EXPECT_TRUE(round.requestRefused(echo(0)));
  EXPECT_FALSE(round.requestRefused(echo(0)));
  for (const std::uint32_t i : {1U, 2U, 3U, 4U}) {
    answer(i, 1ms);
  }
  EXPECT_TRUE(round.resolved());
  EXPECT_EQ(answer(0, 50ms), Match::kLate);
  const Summary summary = round.summarize(1s);
  EXPECT_EQ(summary.answered, 4U);
  EXPECT_DOUBLE_EQ(summary.mean.count(), 1);
  EXPECT_DOUBLE_EQ(summary.lossPercent, 20);
}

TEST_F(RoundTest, AnAnsweredRequestCanNoLongerBeRefused) {
  answer(0, 1ms);
  EXPECT_FALSE(round.requestRefused(echo(0)));
  EXPECT_EQ(round.summarize(1s).answered, 1U);
}

TEST_F(RoundTest, ARequestThatCouldNotBeSentIsLost) {
  round.begin(kToken, kFirst, 2);
  round.requestUnsendable();
  round.requestSent(sentAt(1));
  EXPECT_FALSE(round.resolved());
  answer(1, 3ms);
  EXPECT_TRUE(round.resolved());
  EXPECT_DOUBLE_EQ(round.summarize(1s).lossPercent, 50);
}

}  // namespace
}  // namespace Monitor::Icmp

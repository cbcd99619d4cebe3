#include "monitor/schedule/Schedule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using TimePoint = Grid::TimePoint;

constexpr TimePoint kBegin{1'000'000s};

/// A schedule, its probes, and the time, which only tests move.
class ScheduleTest : public testing::Test {
 protected:
  /// Runs the schedule as the loop would, up to and including `end`.
  void runUntil(TimePoint end) {
    while (wake_ && *wake_ <= end) {
      now_ = std::max(now_, *wake_);
      wake_.reset();
      schedule_.run();
    }
    now_ = end;
  }
  /// One call of run() at `time`, whatever it had asked for.
  void runOnceAt(TimePoint time) {
    now_ = time;
    schedule_.run();
  }
  /// A probe that notes its starts, and is finished at once unless `busy`.
  std::unique_ptr<Schedule::Place> probe(const std::string& identity,
                                         std::chrono::nanoseconds interval, bool busy = false,
                                         std::chrono::nanoseconds slack = {}) {
    auto place = std::make_unique<Schedule::Place*>(nullptr);
    auto result = std::make_unique<Schedule::Place>(
        schedule_, identity, interval,
        [this, identity, busy, self = place.get()] {
          starts_.emplace_back(identity, now_);
          if (!busy) {
            (*self)->finished();
          }
        },
        slack);
    *place = result.get();
    selves_.push_back(std::move(place));
    return result;
  }
  [[nodiscard]] std::vector<TimePoint> startsOf(const std::string& identity) const {
    std::vector<TimePoint> times;
    for (const auto& [who, when] : starts_) {
      if (who == identity) {
        times.push_back(when);
      }
    }
    return times;
  }

  TimePoint now_ = kBegin;
  std::optional<TimePoint> wake_;
  Schedule schedule_{[this] { return now_; }, [this](TimePoint at) { wake_ = at; }};
  std::vector<std::unique_ptr<Schedule::Place*>> selves_;
  std::vector<std::pair<std::string, TimePoint>> starts_;
};

TEST_F(ScheduleTest, RoundsBeginOneIntervalApart) {
  const auto place = probe("a", 5s);
  runUntil(kBegin + 60s);
  const auto starts = startsOf("a");
  ASSERT_EQ(starts.size(), 12U);
  EXPECT_LT(starts[0], kBegin + 5s);
  for (std::size_t i = 1; i < starts.size(); ++i) {
    EXPECT_EQ(starts[i] - starts[i - 1], 5s);
  }
  EXPECT_EQ(schedule_.started(), 12U);
  EXPECT_EQ(schedule_.overloaded(), 0U);
}

TEST_F(ScheduleTest, AProbeKeepsItsPlaceWhenItLeavesAndComesBack) {
  auto place = probe("a", 5s);
  runUntil(kBegin + 20s);
  place.reset();
  runUntil(kBegin + 23s);
  place = probe("a", 5s);
  runUntil(kBegin + 60s);
  const auto starts = startsOf("a");
  for (const TimePoint start : starts) {
    EXPECT_EQ((start - starts.front()) % 5s, 0s);
  }
}

TEST_F(ScheduleTest, ManyProbesSpreadEvenlyOverTheInterval) {
  constexpr int kProbes = 10'000;
  constexpr std::size_t kTenths = 10;
  std::vector<std::unique_ptr<Schedule::Place>> places;
  places.reserve(kProbes);
  for (int i = 0; i < kProbes; ++i) {
    places.push_back(probe("tcp host" + std::to_string(i) + " 192.0.2.1 80", 1s));
  }
  runUntil(kBegin + 1s - 1ns);
  EXPECT_EQ(starts_.size(), static_cast<std::size_t>(kProbes));
  std::vector<int> perTenth(kTenths);
  for (const auto& [who, when] : starts_) {
    ++perTenth[static_cast<std::size_t>((when - kBegin) / 100ms)];
  }
  // 1,000 expected in each; six standard deviations are 180.
  EXPECT_THAT(perTenth, testing::Each(testing::AllOf(testing::Gt(820), testing::Lt(1180))));
}

TEST_F(ScheduleTest, PlacesWithSlackBeginTogetherAndNoneEarlyOrLaterThanThat) {
  constexpr std::chrono::nanoseconds kSlack = 100ms;
  std::vector<std::unique_ptr<Schedule::Place>> places;
  for (int i = 0; i < 50; ++i) {
    places.push_back(probe(std::to_string(i), 1s, false, kSlack));
  }
  const auto exact = probe("exact", 1s);
  runUntil(kBegin + 10s);
  for (int i = 0; i < 50; ++i) {
    const auto starts = startsOf(std::to_string(i));
    ASSERT_GE(starts.size(), 9U);
    const Grid grid(std::to_string(i), 1s);
    TimePoint due = grid.first(kBegin);
    for (const TimePoint start : starts) {
      EXPECT_EQ(start.time_since_epoch() % kSlack, 0ns);
      EXPECT_GE(start, due);
      EXPECT_LT(start, due + kSlack);
      due = grid.next(due);
    }
  }
  EXPECT_EQ(startsOf("exact").front(), Grid("exact", 1s).first(kBegin));
  EXPECT_EQ(schedule_.overloaded(), 0U);
}

TEST_F(ScheduleTest, FirstRoundsOfLongIntervalsComeSoonAndThenTheGridHolds) {
  std::vector<std::unique_ptr<Schedule::Place>> places;
  for (int i = 0; i < 100; ++i) {
    places.push_back(probe(std::to_string(i), 1h));
  }
  runUntil(kBegin + 5h);
  for (int i = 0; i < 100; ++i) {
    const auto starts = startsOf(std::to_string(i));
    ASSERT_GE(starts.size(), 4U);
    EXPECT_LE(starts[0], kBegin + 10s);
    EXPECT_GE(starts[1] - starts[0], 30min);
    EXPECT_LE(starts[1] - starts[0], 90min);
    EXPECT_EQ(starts[3] - starts[2], 1h);
  }
}

TEST_F(ScheduleTest, OneRunStartsALimitedNumberAndAsksToBeCalledAgain) {
  std::vector<std::unique_ptr<Schedule::Place>> places;
  for (int i = 0; i < 100; ++i) {
    places.push_back(probe(std::to_string(i), 1s));
  }
  runOnceAt(kBegin + 1s);
  const std::size_t first = starts_.size();
  EXPECT_GT(first, 0U);
  EXPECT_LT(first, 100U);
  ASSERT_TRUE(wake_);
  EXPECT_LE(*wake_, now_);
  runUntil(now_);
  EXPECT_GE(starts_.size(), 100U);
  EXPECT_EQ(schedule_.overloaded(), 0U);
}

TEST_F(ScheduleTest, RoundsThatCouldNotBeginWithinTheirIntervalAreCountedNotMadeUpFor) {
  const auto place = probe("a", 1s);
  runUntil(kBegin + 10s);
  const std::size_t before = starts_.size();
  // Away for seven seconds and a half: seven rounds fell due, one of them is held now.
  runOnceAt(*wake_ + 6500ms);
  EXPECT_EQ(starts_.size(), before + 1);
  EXPECT_EQ(schedule_.overloaded(), 6U);
  runUntil(now_ + 10s);
  EXPECT_EQ(schedule_.overloaded(), 6U);
  const auto starts = startsOf("a");
  EXPECT_EQ((starts.back() - starts.front()) % 1s, 0s);
}

TEST_F(ScheduleTest, BeingLateWithinTheIntervalIsNoOverload) {
  const auto place = probe("a", 1s);
  runUntil(kBegin + 10s);
  runOnceAt(*wake_ + 999ms);
  EXPECT_EQ(schedule_.overloaded(), 0U);
}

TEST_F(ScheduleTest, AProbesRoundsNeverOverlap) {
  const auto place = probe("a", 1s, true);
  runUntil(kBegin + 1s);
  ASSERT_EQ(starts_.size(), 1U);
  runUntil(kBegin + 2s);
  EXPECT_EQ(starts_.size(), 1U);
}

TEST_F(ScheduleTest, ARoundThatWaitedForTheOneBeforeBeginsWhenThatIsFinished) {
  const auto place = probe("a", 1s, true);
  runUntil(kBegin + 1s);
  const TimePoint due = starts_.front().second + 1s;
  runUntil(due + 1ms);
  ASSERT_EQ(starts_.size(), 1U);
  place->finished();
  runUntil(now_);
  ASSERT_EQ(starts_.size(), 2U);
  EXPECT_EQ(schedule_.overloaded(), 0U);
  place->finished();
  runUntil(due + 1s);
  EXPECT_EQ(starts_.size(), 3U);
  EXPECT_EQ(starts_.back().second, due + 1s);
}

TEST_F(ScheduleTest, WhenTheRoundBeforeTookSeveralIntervalsTheOnesLeftOutAreCounted) {
  const auto place = probe("a", 1s, true);
  runUntil(kBegin + 1s);
  runUntil(starts_.front().second + 3500ms);
  place->finished();
  runUntil(now_);
  EXPECT_EQ(starts_.size(), 2U);
  EXPECT_EQ(schedule_.overloaded(), 2U);
}

TEST_F(ScheduleTest, APlaceMayDestroyItselfAndOthersInItsRound) {
  std::vector<std::unique_ptr<Schedule::Place>> places;
  int rounds = 0;
  for (int i = 0; i < 10; ++i) {
    places.push_back(std::make_unique<Schedule::Place>(schedule_, std::to_string(i), 1s, [&] {
      ++rounds;
      places.clear();
    }));
  }
  runOnceAt(kBegin + 1s);
  EXPECT_EQ(rounds, 1);
  wake_.reset();
  runOnceAt(kBegin + 10s);
  EXPECT_EQ(rounds, 1);
  EXPECT_FALSE(wake_);
}

TEST_F(ScheduleTest, ANewPlaceThatIsDueSoonerMovesTheWaking) {
  const auto slow = probe("slow", 24h);
  const TimePoint before = *wake_;
  const auto fast = probe("fast", 10ms);
  EXPECT_LT(*wake_, before);
}

TEST(StableHash, IsTheSameInEveryBuild) {
  EXPECT_EQ(stableHash(""), 17665956581633026203U);
  EXPECT_EQ(stableHash("icmp web1"), stableHash("icmp web1"));
  EXPECT_NE(stableHash("icmp web1"), stableHash("icmp web2"));
}

TEST(Grid, PointsAreOneIntervalApartAndPointsThemselvesAreOnIt) {
  const Grid grid("a", 7s);
  const TimePoint point = grid.atOrAfter(kBegin);
  EXPECT_GE(point, kBegin);
  EXPECT_LT(point, kBegin + 7s);
  EXPECT_EQ(grid.atOrAfter(point), point);
  EXPECT_EQ(grid.atOrAfter(point + 1ns), point + 7s);
  EXPECT_EQ(grid.atOrAfter(TimePoint{}) - TimePoint{}, (point - TimePoint{}) % 7s);
}

}  // namespace
}  // namespace Monitor

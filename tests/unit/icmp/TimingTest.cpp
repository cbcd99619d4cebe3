#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <random>
#include <vector>

#include "monitor/icmp/LoadMeter.h"
#include "monitor/icmp/Pacer.h"
#include "monitor/icmp/TimerWheel.h"

namespace Monitor::Icmp {
namespace {

using namespace std::chrono_literals;
using Id = TimerWheel::Id;

constexpr auto kTick = 2ms;
constexpr Clock::time_point kStart{5000s};

std::vector<Id> fired(TimerWheel& wheel, Clock::time_point now) {
  std::vector<Id> ids;
  wheel.advance(now, [&](Id id) { ids.push_back(id); });
  return ids;
}

class TimerWheelTest : public ::testing::Test {
 protected:
  TimerWheelTest() { fired(wheel, kStart); }
  TimerWheel wheel{kTick};
};

TEST_F(TimerWheelTest, ATimerFiresOnceNeitherEarlyNorMoreThanATickLate) {
  wheel.set(3, kStart + 10ms + 1us);
  EXPECT_EQ(fired(wheel, kStart + 10ms), std::vector<Id>{});
  EXPECT_EQ(fired(wheel, kStart + 12ms + 1us), std::vector<Id>{3});
  EXPECT_EQ(fired(wheel, kStart + 100s), std::vector<Id>{});
}

TEST_F(TimerWheelTest, ATimerBeyondTheWheelsRoundFiresInItsTime) {
  wheel.set(0, kStart + 1h);
  EXPECT_EQ(fired(wheel, kStart + 1h - 1us), std::vector<Id>{});
  EXPECT_EQ(fired(wheel, kStart + 1h), std::vector<Id>{0});
}

TEST_F(TimerWheelTest, ATimeThatHasPassedFiresWithTheNextTick) {
  wheel.set(0, kStart - 1h);
  EXPECT_EQ(fired(wheel, kStart), std::vector<Id>{});
  EXPECT_EQ(fired(wheel, kStart + kTick), std::vector<Id>{0});
}

TEST_F(TimerWheelTest, SettingAgainMovesTheTimer) {
  wheel.set(0, kStart + 10ms);
  wheel.set(0, kStart + 50ms);
  EXPECT_EQ(fired(wheel, kStart + 20ms), std::vector<Id>{});
  EXPECT_EQ(fired(wheel, kStart + 50ms), std::vector<Id>{0});
}

TEST_F(TimerWheelTest, ACallMayCancelWhatIsDueWithIt) {
  wheel.set(0, kStart + 10ms);
  wheel.set(1, kStart + 12ms);
  std::vector<Id> ids;
  wheel.advance(kStart + 1s, [&](Id id) {
    ids.push_back(id);
    wheel.cancel(1);
  });
  EXPECT_EQ(ids, std::vector<Id>{0});
}

TEST_F(TimerWheelTest, WhatACallSetsFiresInALaterAdvance) {
  wheel.set(0, kStart + 10ms);
  std::vector<Id> ids;
  wheel.advance(kStart + 10ms, [&](Id id) {
    ids.push_back(id);
    wheel.set(0, kStart);
    wheel.set(1000, kStart);
  });
  EXPECT_EQ(ids, std::vector<Id>{0});
  EXPECT_EQ(fired(wheel, kStart + 12ms).size(), 2U);
}

TEST_F(TimerWheelTest, NothingSetHasNoNext) {
  EXPECT_EQ(wheel.next(), std::nullopt);
  wheel.set(0, kStart + 1s);
  EXPECT_TRUE(wheel.next());
  wheel.cancel(0);
  EXPECT_EQ(wheel.next(), std::nullopt);
}

TEST(TimerWheelModel, AgreesWithASortedMapUnderRandomUse) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    TimerWheel wheel{kTick};
    std::map<Id, Clock::time_point> model;
    Clock::time_point now = kStart;
    fired(wheel, now);
    for (int step = 0; step < 3000; ++step) {
      const auto id = static_cast<Id>(random() % 40);
      switch (random() % 4) {
        case 0:
          wheel.cancel(id);
          model.erase(id);
          break;
        case 1:
          // sometimes a long pause, sometimes many rounds of the wheel
          now += std::chrono::microseconds(random() % (random() % 20 == 0 ? 9'000'000 : 3'000));
          for (const Id got : fired(wheel, now)) {
            ASSERT_TRUE(model.contains(got)) << "fired without being set";
            ASSERT_LE(model[got], now) << "fired early";
            model.erase(got);
          }
          for (const auto& [left, due] : model) {
            ASSERT_GT(due + kTick, now) << "did not fire";
          }
          break;
        default:
          model[id] = now + std::chrono::microseconds(random() % 4'000'000);
          wheel.set(id, model[id]);
      }
      ASSERT_EQ(wheel.next().has_value(), !model.empty());
      for (const auto& [left, due] : model) {
        ASSERT_LT(*wheel.next(), due + kTick);
      }
    }
  }
}

TEST(PacerTest, LetsThroughTheDepthAtOnceAndTheRateAfterwards) {
  Pacer pacer(1000, 10);
  EXPECT_EQ(pacer.allowed(kStart), 10U);
  pacer.spend(10);
  EXPECT_EQ(pacer.allowed(kStart), 0U);
  EXPECT_EQ(pacer.allowed(kStart + 3ms), 3U);
  pacer.spend(3);
  EXPECT_EQ(pacer.allowed(kStart + 1h), 10U);
}

TEST(PacerTest, ManySmallStepsLoseNoFraction) {
  Pacer pacer(333, 100);
  pacer.spend(pacer.allowed(kStart));
  std::size_t total = 0;
  for (int i = 1; i <= 10'000; ++i) {
    const std::size_t allowed = pacer.allowed(kStart + i * 1ms);
    pacer.spend(allowed);
    total += allowed;
  }
  EXPECT_NEAR(static_cast<double>(total), 3330, 1);
}

TEST(PacerTest, ATimeThatStandsStillOrGoesBackGivesNothing) {
  Pacer pacer(1000, 1);
  pacer.spend(pacer.allowed(kStart));
  EXPECT_EQ(pacer.allowed(kStart - 1s), 0U);
  EXPECT_EQ(pacer.allowed(kStart), 0U);
}

class LoadMeterTest : public ::testing::Test {
 protected:
  /// A second at a rate; returns how often light() changed.
  int second(std::size_t packets) {
    int changes = 0;
    for (int i = 0; i < 100; ++i) {
      now += 10ms;
      meter.sent(packets / 100);
      changes += meter.update(now) ? 1 : 0;
    }
    return changes;
  }
  Clock::time_point now = kStart;
  LoadMeter meter;
};

TEST_F(LoadMeterTest, IsLightUntilMuchIsSentAndAgainWhenLittleIs) {
  EXPECT_TRUE(meter.light());
  EXPECT_EQ(second(10'000), 0);
  EXPECT_EQ(second(50'000), 1);
  EXPECT_FALSE(meter.light());
  EXPECT_EQ(second(50'000), 0);
  EXPECT_EQ(second(1'000), 1);
  EXPECT_TRUE(meter.light());
}

TEST_F(LoadMeterTest, ARateBetweenTheLimitsChangesNothing) {
  second(17'000);
  EXPECT_TRUE(meter.light());
  second(50'000);
  EXPECT_EQ(second(17'000), 0);
  EXPECT_FALSE(meter.light());
}

}  // namespace
}  // namespace Monitor::Icmp

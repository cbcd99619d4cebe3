#include "monitor/log/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "monitor/log/LibeventLog.h"
#include "tests/unit/monitor/LoopTesting.h"

namespace Monitor {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class LogTest : public testing::Test {
 protected:
  Log log(Severity threshold) {
    return {threshold, [this] { return now_; },
            [this](std::string_view line) { lines_.emplace_back(line); }};
  }

  Clock::time_point now_{1000s};
  std::vector<std::string> lines_;
};

TEST_F(LogTest, EachLineIsHeadedByItsPriority) {
  Log log = LogTest::log(Severity::kInfo);
  log.error("a");
  log.warning("b");
  log.info("c");
  EXPECT_THAT(lines_, ElementsAre("<3>a\n", "<4>b\n", "<6>c\n"));
}

TEST_F(LogTest, WhatIsLessSevereThanTheThresholdIsDropped) {
  Log log = LogTest::log(Severity::kWarning);
  log.info("c");
  log.warning("b");
  EXPECT_THAT(lines_, ElementsAre("<4>b\n"));
}

TEST_F(LogTest, AnEventMakesOneLineWhateverItsTextHolds) {
  Log log = LogTest::log(Severity::kWarning);
  log.warning("a\n<3>forged\x1b[0m");
  EXPECT_THAT(lines_, ElementsAre("<4>a?<3>forged?[0m\n"));
}

TEST_F(LogTest, AFloodIsCutAndWhatWasLeftOutIsCounted) {
  Log log = LogTest::log(Severity::kWarning);
  for (int i = 0; i < 1000; ++i) {
    log.warning("x");
  }
  log.error("important");
  EXPECT_EQ(lines_.size(), 201U);
  EXPECT_EQ(lines_.back(), "<3>important\n");
  now_ += 10s;
  log.warning("y");
  ASSERT_EQ(lines_.size(), 203U);
  EXPECT_EQ(lines_[201], "<4>800 lines were left out here\n");
  EXPECT_EQ(lines_[202], "<4>y\n");
}

TEST_F(LogTest, LibeventsWarningsAreLinesOfTheLog) {
  Log log = LogTest::log(Severity::kWarning);
  const Testing::TestLoop loop;
  // libevent warns of a loop that is run from within itself.
  const auto misuse = [&] {
    Timer timer(loop.base(), [&] { event_base_loop(loop.base(), EVLOOP_NONBLOCK); });
    timer.set({});
    event_base_loop(loop.base(), EVLOOP_ONCE);
  };
  {
    const LibeventLog libevent(log);
    misuse();
  }
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_THAT(lines_[0], testing::MatchesRegex("<4>libevent: event_base_loop: .*\n"));
  misuse();
  EXPECT_EQ(lines_.size(), 1U) << "the log may be gone by then";
}

}  // namespace
}  // namespace Monitor

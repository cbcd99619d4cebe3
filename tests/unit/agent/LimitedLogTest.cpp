#include "agent/LimitedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Agent {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;

class LimitedLogTest : public testing::Test {
 protected:
  void writeMany(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      log_.write("line");
    }
  }

  Clock::time_point now_{seconds(1000)};
  std::vector<std::string> written_;
  LimitedLog log_{[this](const std::string& line) { written_.push_back(line); }, "the feed",
                  [this] { return now_; }};
};

constexpr unsigned kMost = LimitedLog::kLinesPerWindow;

TEST_F(LimitedLogTest, AFewLinesAreWrittenAsTheyCome) {
  log_.write("a");
  log_.write("b");
  EXPECT_THAT(written_, ElementsAre("a", "b"));
  EXPECT_EQ(log_.next(), std::nullopt);
}

TEST_F(LimitedLogTest, BeyondTheMostOfAWindowLinesAreWithheld) {
  writeMany(kMost + 1000);
  EXPECT_EQ(written_.size(), kMost);
}

TEST_F(LimitedLogTest, TheCountOfWithheldLinesIsDueAtTheEndOfTheWindowThatTheFirstLineBegan) {
  const auto begin = now_;
  writeMany(kMost);
  now_ += seconds(4);
  writeMany(7);
  EXPECT_EQ(log_.next(), begin + LimitedLog::kWindow);
  written_.clear();
  log_.run();
  EXPECT_THAT(written_, ElementsAre()) << "before it is due";
  now_ = begin + LimitedLog::kWindow;
  log_.run();
  EXPECT_THAT(written_, ElementsAre("7 more lines about the feed within 5 seconds were withheld"));
  EXPECT_EQ(log_.next(), std::nullopt);
  log_.run();
  EXPECT_EQ(written_.size(), 1U) << "told once";
}

TEST_F(LimitedLogTest, ALineAfterTheWindowComesBehindTheCountAndBeginsAnother) {
  writeMany(kMost + 1);
  written_.clear();
  now_ += LimitedLog::kWindow;
  log_.write("next");
  EXPECT_THAT(written_,
              ElementsAre("1 more lines about the feed within 5 seconds were withheld", "next"));
  writeMany(kMost);
  EXPECT_EQ(written_.size(), 1 + kMost) << "the count is no line of the window";
}

TEST_F(LimitedLogTest, AWindowWithoutTooManyLinesEndsInSilence) {
  writeMany(kMost);
  now_ += LimitedLog::kWindow;
  writeMany(kMost);
  EXPECT_EQ(written_.size(), 2 * kMost);
}

}  // namespace
}  // namespace Agent

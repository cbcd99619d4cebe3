#include "agent/Log.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

class LogTest : public testing::Test {
 protected:
  Log log(Severity threshold) {
    return {threshold, [this](std::string_view line) { written_ += line; }};
  }
  std::string written_;
};

TEST_F(LogTest, ALineBeginsWithItsSeverity) {
  const Log all = log(Severity::kInfo);
  all.write(Severity::kError, "a");
  all.at(Severity::kWarning)("b");
  all.at(Severity::kNotice)("c");
  all.at(Severity::kInfo)("d");
  EXPECT_EQ(written_, "<3>a\n<4>b\n<5>c\n<6>d\n");
}

TEST_F(LogTest, LinesBelowTheThresholdAreDropped) {
  const Log quiet = log(Severity::kWarning);
  quiet.write(Severity::kInfo, "a");
  EXPECT_EQ(written_, "");
  quiet.write(Severity::kWarning, "b");
  EXPECT_EQ(written_, "<4>b\n");
}

TEST_F(LogTest, AnEventIsOneLineWhateverIsInIt) {
  log(Severity::kWarning).write(Severity::kError, "a\n<0>b\t\x1b[1m\x7f\xc3\xa9");
  EXPECT_EQ(written_, "<3>a?<0>b??[1m?\xc3\xa9\n");
}

}  // namespace
}  // namespace Agent

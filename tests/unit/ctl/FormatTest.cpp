#include "ctl/text/Format.h"

#include <gtest/gtest.h>

namespace Ctl {
namespace {

TEST(CtlFormat, ATimeHasThousandthsOfAMillisecond) {
  EXPECT_EQ(milliseconds(12.345), "12.345 ms");
  EXPECT_EQ(milliseconds(0.2), "0.200 ms");
  EXPECT_EQ(milliseconds(0.0004), "0.000 ms");
  EXPECT_EQ(milliseconds(2'147'483'648.0), "2147483648.000 ms");
  EXPECT_EQ(milliseconds(-1.5), "-1.500 ms");
  EXPECT_EQ(milliseconds(std::nullopt), "not a number");
}

TEST(CtlFormat, ADurationHasItsTwoLargestUnits) {
  EXPECT_EQ(duration(0), "0.0 s");
  EXPECT_EQ(duration(59.99), "59.9 s");
  EXPECT_EQ(duration(60), "1 min 0 s");
  EXPECT_EQ(duration(3 * 3'600 + 12 * 60 + 59), "3 h 12 min");
  EXPECT_EQ(duration(86'400.0 * 400), "400 d 0 h");
}

TEST(CtlFormat, OneIsNoPlural) {
  EXPECT_EQ(counted(0, "row"), "0 rows");
  EXPECT_EQ(counted(1, "row"), "1 row");
  EXPECT_EQ(counted(2, "row"), "2 rows");
}

}  // namespace
}  // namespace Ctl

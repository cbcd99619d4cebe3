#include "Pomel/RefCount.h"

#include <gtest/gtest.h>

namespace Pomel {
namespace {

TEST(RefCount, OnlyTheLastReferenceToGoIsTheLast) {
  RefCount count;
  count.inc();
  count.inc();
  EXPECT_EQ(count.value(), 2U);
  EXPECT_FALSE(count.dec());
  EXPECT_TRUE(count.dec());
}

TEST(RefCount, APinnedCountNeverReachesItsLastReference) {
  RefCount count;
  count.inc();
  EXPECT_TRUE(count.dec());
  count.pin();
  count.inc();
  EXPECT_FALSE(count.dec());
  EXPECT_FALSE(count.dec());
}

TEST(RefCount, PlainModeIsTheDefault) { EXPECT_FALSE(threadSafePtrs); }

}  // namespace
}  // namespace Pomel

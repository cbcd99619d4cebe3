#include "Ubo/YieldPolicy.h"

#include <gtest/gtest.h>

namespace Ubo {
namespace {

using namespace std::chrono_literals;

class DeadlineTest : public testing::Test {
 protected:
  DeadlinePolicy::Clock::time_point now_{100s};
  DeadlinePolicy policy_{2ms, [this] { return now_; }};
};

TEST_F(DeadlineTest, TheBudgetRunsFromTheBeginningOfTheSlice) {
  policy_.sliceBegins();
  EXPECT_FALSE(policy_.shouldYield());
  now_ += 2ms - 1ns;
  EXPECT_FALSE(policy_.shouldYield());
  now_ += 1ns;
  EXPECT_TRUE(policy_.shouldYield());
  now_ += 1h;
  EXPECT_TRUE(policy_.shouldYield());
}

TEST_F(DeadlineTest, EverySliceHasABudgetOfItsOwn) {
  policy_.sliceBegins();
  now_ += 5ms;
  EXPECT_TRUE(policy_.shouldYield());
  policy_.sliceBegins();
  EXPECT_FALSE(policy_.shouldYield());
}

TEST_F(DeadlineTest, OutsideOfAnySliceThereIsNoBudget) { EXPECT_TRUE(policy_.shouldYield()); }

TEST(YieldPolicy, TheDefaultBudgetIsTwoMilliseconds) { EXPECT_EQ(kSliceBudget, 2ms); }

}  // namespace
}  // namespace Ubo

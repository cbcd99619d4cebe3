// Tables so large that they change their size a few chains at a time.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "NumberForTest.h"
#include "Qiv/HashSet.h"

namespace Qiv {
namespace {

/// A set and what it must be, in the order of a walk.
class LargeHashTable : public testing::Test {
 protected:
  static constexpr int kMost = 9000;
  static constexpr int kNumbers = 3 * kMost;

  void insert(Number number) { EXPECT_EQ(set_.insert(number), model_.insert(number).second); }
  void erase(Number number) { EXPECT_EQ(set_.erase(number), model_.erase(number) == 1); }
  Number any() { return {static_cast<int>(random_() % kNumbers)}; }
  /// The next one in the order of a walk from anywhere on.
  Number present() {
    const auto at = model_.lower_bound(any());
    return at == model_.end() ? *model_.begin() : *at;
  }

  void checkAround(Number number) {
    const auto same = [&](auto at, auto expected) {
      return at == set_.end() ? expected == model_.end()
                              : expected != model_.end() && *at == *expected;
    };
    ASSERT_EQ(set_.contains(number), model_.contains(number));
    ASSERT_TRUE(same(set_.lowerBound(number), model_.lower_bound(number)));
    ASSERT_TRUE(same(set_.upperBound(number), model_.upper_bound(number)));
    auto at = set_.lowerBound(number);
    auto expected = model_.lower_bound(number);
    for (int steps = 0; steps < 3 && expected != model_.end(); ++steps, ++at, ++expected) {
      ASSERT_TRUE(same(at, expected));
    }
    ASSERT_EQ(set_.size(), model_.size());
  }
  void checkNowAndThen() {
    if (random_() % 8 == 0) {
      checkAround(any());
    }
  }
  void checkAll() {
    ASSERT_EQ(set_.size(), model_.size());
    ASSERT_TRUE(std::equal(set_.begin(), set_.end(), model_.begin(), model_.end()));
  }
  void growTo(std::size_t size) {
    while (model_.size() < size) {
      insert(any());
      ASSERT_NO_FATAL_FAILURE(checkNowAndThen());
    }
  }
  void shrinkTo(std::size_t size) {
    while (model_.size() > size) {
      erase(present());
      ASSERT_NO_FATAL_FAILURE(checkNowAndThen());
    }
  }

  struct Walked {
    bool operator()(const Number& a, const Number& b) const {
      const std::uint64_t hashA = a.hash(0) >> 32;
      const std::uint64_t hashB = b.hash(0) >> 32;
      return hashA != hashB ? hashA < hashB : a < b;
    }
  };
  HashSet<Number> set_;
  std::set<Number, Walked> model_;
  std::mt19937 random_{1};
};

TEST_F(LargeHashTable, IsWholeAtEveryMomentWhileItGrowsAndShrinks) {
  for (const std::size_t size : {5000U, 8193U, 8200U, 9000U}) {
    ASSERT_NO_FATAL_FAILURE(growTo(size));
    ASSERT_NO_FATAL_FAILURE(checkAll());
  }
  for (const std::size_t size : {4095U, 4050U, 2047U, 1030U, 1020U, 500U, 1U, 0U}) {
    ASSERT_NO_FATAL_FAILURE(shrinkTo(size));
    ASSERT_NO_FATAL_FAILURE(checkAll());
  }
}

TEST_F(LargeHashTable, TurnsRoundWhereverItIs) {
  // 4,096 chains become 8,192 with one entry more, which takes 256 changes; and again at half of an
  // eighth.
  for (const std::size_t most : {4098U, 4353U}) {
    for (const std::size_t least : {4090U, 1000U}) {
      ASSERT_NO_FATAL_FAILURE(growTo(most));
      ASSERT_NO_FATAL_FAILURE(checkAll());
      ASSERT_NO_FATAL_FAILURE(shrinkTo(least));
      ASSERT_NO_FATAL_FAILURE(checkAll());
    }
  }
}

TEST_F(LargeHashTable, IsEmptiedInOrderAndFreedInTheMiddleOfAMove) {
  ASSERT_NO_FATAL_FAILURE(growTo(8200));
  std::vector<Number> told;
  struct Listening {
    void handle(const Number& number) { told.push_back(number); }
    std::vector<Number>& told;
    Subscription<&Listening::handle, Number> subscription{*this};
  };
  Listening listening{told};
  listening.subscription.subscribe(set_.changes());
  set_.clear();
  EXPECT_TRUE(std::equal(told.begin(), told.end(), model_.begin(), model_.end()));
  EXPECT_TRUE(set_.empty());
  model_.clear();
  // What is left in the middle of growing goes with the table.
  ASSERT_NO_FATAL_FAILURE(growTo(4100));
}

}  // namespace
}  // namespace Qiv

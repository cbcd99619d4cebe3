#include "Qiv/HashSet.h"

#include <gtest/gtest.h>

#include <set>

#include "Pomel/String.h"

namespace Qiv {
namespace {

using Set = HashSet<Pomel::String>;

struct Reactor {
  explicit Reactor(Set& watched) : set(watched) {}
  void handle(const Pomel::String& key) {
    told.push_back(key.stdString() + (set.contains(key) ? " in" : " out"));
  }
  Set& set;
  std::vector<std::string> told;
  Subscription<&Reactor::handle, Pomel::String> subscription{*this, set.changes()};
};

TEST(HashSet, AKeyIsInOnce) {
  Set set;
  EXPECT_TRUE(set.insert("red"));
  EXPECT_FALSE(set.insert("red"));
  EXPECT_TRUE(set.contains("red"));
  EXPECT_FALSE(set.contains("blue"));
  EXPECT_EQ(set.size(), 1U);
  EXPECT_EQ(set.version(), 1U);
}

TEST(HashSet, EachChangeIsPublishedOnceAfterIt) {
  Set set;
  const Reactor reactor(set);
  set.insert("red");
  set.insert("red");
  set.insert("blue");
  EXPECT_TRUE(set.erase("red"));
  EXPECT_FALSE(set.erase("red"));
  EXPECT_EQ(reactor.told, (std::vector<std::string>{"red in", "blue in", "red out"}));
  EXPECT_EQ(set.version(), 3U);
}

TEST(HashSet, ClearPublishesEachKey) {
  Set set;
  std::set<std::string> expected;
  for (int i = 0; i < 30; ++i) {
    const std::string key = "k" + std::to_string(i);
    set.insert(key);
    expected.insert(key + " out");
  }
  const Reactor reactor(set);
  set.clear();
  EXPECT_TRUE(set.empty());
  EXPECT_EQ(reactor.told.size(), 30U);
  EXPECT_EQ(std::set<std::string>(reactor.told.begin(), reactor.told.end()), expected);
}

TEST(HashSet, AWalkVisitsEveryKeyOnceAndGoesOnByKey) {
  Set set;
  for (int i = 0; i < 100; ++i) {
    set.insert("k" + std::to_string(i));
  }
  std::vector<Pomel::String> walked;
  for (auto at = set.begin(); at != set.end(); at = set.upperBound(*at)) {
    EXPECT_EQ(*set.lowerBound(*at), *at);
    walked.push_back(*at);
  }
  EXPECT_EQ(walked, std::vector<Pomel::String>(set.begin(), set.end()));
  EXPECT_EQ(walked.size(), 100U);
}

TEST(HashSet, ASetWalkedWhileItIsEmptiedByKeyMissesNothing) {
  Set set;
  for (int i = 0; i < 100; ++i) {
    set.insert("k" + std::to_string(i));
  }
  std::size_t visited = 0;
  for (auto at = set.begin(); at != set.end();) {
    const Pomel::String key = *at;
    set.erase(key);
    ++visited;
    at = set.lowerBound(key);
  }
  EXPECT_EQ(visited, 100U);
  EXPECT_TRUE(set.empty());
}

}  // namespace
}  // namespace Qiv

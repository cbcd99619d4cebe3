#include "Qiv/HashMap.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "NumberForTest.h"
#include "Pomel/String.h"

namespace Qiv {
namespace {

/// A key whose hash is the same for all.
struct Clash {
  int value;
  [[nodiscard]] static std::uint64_t hash(std::uint64_t /*seed*/) { return 42; }
  friend auto operator<=>(const Clash&, const Clash&) = default;
};

/// A subscriber that notes each key and then does as it was told.
template <class Key>
struct Reactor {
  explicit Reactor(Publisher<Key>& changes) { subscription.subscribe(changes); }
  void handle(const Key& key) {
    keys.push_back(key);
    if (action) {
      action(key);
    }
  }
  std::vector<Key> keys;
  std::function<void(const Key&)> action;
  Subscription<&Reactor::handle, Key> subscription{*this};
};

template <class Map>
std::vector<typename Map::key_type> keysOf(const Map& map) {
  std::vector<typename Map::key_type> keys;
  for (const auto& entry : map) {
    keys.push_back(entry.key);
  }
  return keys;
}

using Map = HashMap<Number, std::string>;

TEST(HashMap, ANewMapIsEmpty) {
  Map map;
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.size(), 0U);
  EXPECT_EQ(map.version(), 0U);
  EXPECT_EQ(map.begin(), map.end());
  EXPECT_EQ(map.find({1}), nullptr);
  EXPECT_EQ(map.lowerBound({1}), map.end());
  EXPECT_EQ(map.upperBound({1}), map.end());
}

TEST(HashMap, WhatWasSetIsFound) {
  Map map;
  EXPECT_TRUE(map.set({1}, "one"));
  EXPECT_TRUE(map.set({2}, "two"));
  ASSERT_NE(map.find({1}), nullptr);
  EXPECT_EQ(*map.find({1}), "one");
  EXPECT_TRUE(map.contains({2}));
  EXPECT_FALSE(map.contains({3}));
  EXPECT_EQ(map.size(), 2U);
}

TEST(HashMap, SettingAnEqualValueIsNoChange) {
  Map map;
  map.set({1}, "one");
  const Reactor<Number> reactor(map.changes());
  EXPECT_FALSE(map.set({1}, "one"));
  EXPECT_EQ(map.version(), 1U);
  EXPECT_TRUE(reactor.keys.empty());
}

TEST(HashMap, ErasingWhatIsAbsentIsNoChange) {
  Map map;
  const Reactor<Number> reactor(map.changes());
  EXPECT_FALSE(map.erase({1}));
  map.clear();
  EXPECT_EQ(map.version(), 0U);
  EXPECT_TRUE(reactor.keys.empty());
}

TEST(HashMap, EachChangeMovesTheVersionAndIsPublishedOnceWithTheMapAsItIsAfterwards) {
  Map map;
  std::vector<std::string> seen;
  Reactor<Number> reactor(map.changes());
  reactor.action = [&](const Number& key) {
    const std::string* value = map.find(key);
    seen.push_back(std::to_string(key.value) + '=' + (value == nullptr ? "absent" : *value) +
                   " of " + std::to_string(map.size()) + " v" + std::to_string(map.version()));
  };
  map.set({1}, "a");
  map.set({2}, "b");
  map.set({1}, "c");
  map.erase({1});
  map.set({1}, "d");
  EXPECT_EQ(seen, (std::vector<std::string>{"1=a of 1 v1", "2=b of 2 v2", "1=c of 2 v3",
                                            "1=absent of 1 v4", "1=d of 2 v5"}));
}

TEST(HashMap, ClearPublishesEachEntryOnItsOwnInIterationOrder) {
  Map map;
  for (int key = 0; key < 20; ++key) {
    map.set({key}, "x");
  }
  const auto order = keysOf(map);
  std::vector<std::size_t> sizes;
  Reactor<Number> reactor(map.changes());
  reactor.action = [&](const Number& key) {
    EXPECT_FALSE(map.contains(key));
    sizes.push_back(map.size());
  };
  map.clear();
  EXPECT_EQ(reactor.keys, order);
  ASSERT_EQ(sizes.size(), 20U);
  for (std::size_t at = 0; at < 20; ++at) {
    EXPECT_EQ(sizes[at], 19 - at);
  }
  EXPECT_EQ(map.version(), 40U);
}

TEST(HashMap, TheVersionWrapsAfter23Bits) {
  EXPECT_EQ(kVersionMask, 8'388'607U);
  HashMap<Number, int> map;
  for (std::uint32_t step = 1; step <= kVersionMask; ++step) {
    map.set({1}, static_cast<int>(step));
  }
  EXPECT_EQ(map.version(), kVersionMask);
  map.set({1}, -1);
  EXPECT_EQ(map.version(), 0U);
  map.erase({1});
  EXPECT_EQ(map.version(), 1U);
}

TEST(HashMap, TheIterationOrderIsAPropertyOfTheKeysAlone) {
  Map up;
  Map down;
  for (int key = 0; key < 1000; ++key) {
    up.set({key}, "x");
    down.set({999 - key}, "x");
  }
  // One more history: much larger for a while.
  for (int key = 1000; key < 5000; ++key) {
    down.set({key}, "x");
  }
  for (int key = 1000; key < 5000; ++key) {
    down.erase({key});
  }
  EXPECT_EQ(keysOf(up), keysOf(down));
}

TEST(HashMap, BoundsOfAnAbsentKeyAreItsSuccessor) {
  Map map;
  for (int key = 0; key < 50; ++key) {
    map.set({key}, "x");
  }
  const auto order = keysOf(map);
  const Number removed = order[20];
  map.erase(removed);
  ASSERT_NE(map.lowerBound(removed), map.end());
  EXPECT_EQ(map.lowerBound(removed)->key, order[21]);
  EXPECT_EQ(map.upperBound(removed)->key, order[21]);
  EXPECT_EQ(map.lowerBound(order[19])->key, order[19]);
  EXPECT_EQ(map.upperBound(order[19])->key, order[21]);
  EXPECT_EQ(map.upperBound(order[49]), map.end());
}

TEST(HashMap, KeysOfOneHashAreStillToldApartAndWalkedInTheirOwnOrder) {
  HashMap<Clash, int> map;
  for (const int key : {7, 3, 9, 1, 5, 8, 2, 6, 4, 0, 11, 10}) {
    EXPECT_TRUE(map.set({key}, key));
  }
  EXPECT_EQ(map.size(), 12U);
  int expected = 0;
  for (const auto& entry : map) {
    EXPECT_EQ(entry.key.value, expected++);
  }
  EXPECT_EQ(*map.find({8}), 8);
  EXPECT_EQ(map.find({12}), nullptr);
  EXPECT_TRUE(map.erase({0}));
  EXPECT_TRUE(map.erase({11}));
  EXPECT_FALSE(map.erase({11}));
  EXPECT_EQ(map.lowerBound({0})->key.value, 1);
  EXPECT_EQ(map.upperBound({5})->key.value, 6);
  EXPECT_EQ(map.upperBound({10}), map.end());
}

TEST(HashMap, AReactorMayEraseTheKeyThatIsBeingSet) {
  Map map;
  Reactor<Number> eraser(map.changes());
  eraser.action = [&](const Number& key) { map.erase(key); };
  const Reactor<Number> second(map.changes());
  EXPECT_TRUE(map.set({1}, "short-lived"));
  EXPECT_TRUE(map.empty());
  // The inner round (the erasure) reaches everybody before the outer one goes on.
  EXPECT_EQ(eraser.keys.size(), 2U);
  EXPECT_EQ(second.keys.size(), 2U);
  EXPECT_EQ(map.version(), 2U);
}

TEST(HashMap, AReactorMayPutTheErasedKeyBack) {
  Map map;
  map.set({1}, "first");
  Reactor<Number> restorer(map.changes());
  restorer.action = [&](const Number& key) {
    if (!map.contains(key)) {
      map.set(key, "restored");
    }
  };
  EXPECT_TRUE(map.erase({1}));
  ASSERT_NE(map.find({1}), nullptr);
  EXPECT_EQ(*map.find({1}), "restored");
  EXPECT_EQ(restorer.keys.size(), 2U);
}

TEST(HashMap, AReactorMayGrowTheMapWhileAnEntryOfItIsSet) {
  Map map;
  Reactor<Number> grower(map.changes());
  grower.action = [&](const Number& key) {
    if (key.value == 0) {
      for (int more = 1; more <= 100; ++more) {
        map.set({more}, "more");
      }
    }
  };
  map.set({0}, "seed");
  EXPECT_EQ(map.size(), 101U);
  EXPECT_EQ(grower.keys.size(), 101U);
}

TEST(HashMap, AReactorMayClearTheMapWhileItIsBeingCleared) {
  Map map;
  for (int key = 0; key < 10; ++key) {
    map.set({key}, "x");
  }
  Reactor<Number> reactor(map.changes());
  reactor.action = [&](const Number&) { map.clear(); };
  map.clear();
  EXPECT_TRUE(map.empty());
  std::vector<Number> told = reactor.keys;
  std::ranges::sort(told);
  ASSERT_EQ(told.size(), 10U);
  EXPECT_EQ(told.front().value, 0);
  EXPECT_EQ(told.back().value, 9);
}

TEST(HashMap, ClearTakesAlsoWhatAReactorPutsInMeanwhile) {
  Map map;
  for (int key = 0; key < 10; ++key) {
    map.set({key}, "x");
  }
  int left = 50;
  Reactor<Number> reactor(map.changes());
  reactor.action = [&](const Number& key) {
    if (!map.contains(key) && left > 0) {
      map.set({1000 + left--}, "late");
    }
  };
  map.clear();
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(reactor.keys.size(), 10U + 2 * 50U);
}

TEST(HashMap, TheMapMayDieInTheRoundOfASetAndOfAnErasure) {
  for (const bool erase : {false, true}) {
    auto map = std::make_unique<Map>();
    map->set({1}, "x");
    Reactor<Number> reactor(map->changes());
    reactor.action = [&](const Number&) { map.reset(); };
    EXPECT_TRUE(erase ? map->erase({1}) : map->set({2}, "y"));
    EXPECT_EQ(map, nullptr);
    EXPECT_EQ(reactor.keys.size(), 1U);
  }
}

TEST(HashMap, TheKeyMayBeAPieceOfTheEntryItself) {
  Map map;
  map.set({1}, "one");
  const Reactor<Number> reactor(map.changes());
  EXPECT_TRUE(map.set(map.begin()->key, "uno"));
  EXPECT_TRUE(map.erase(map.begin()->key));
  EXPECT_EQ(reactor.keys, (std::vector<Number>{{1}, {1}}));
}

TEST(HashMap, AllAreToldTheSameKeyAlsoWhenItsEntryGoesInTheRound) {
  Map map;
  map.set({1}, "one");
  Reactor<Number> eraser(map.changes());
  const Reactor<Number> second(map.changes());
  eraser.action = [&](const Number& key) { map.erase(key); };
  map.set(map.begin()->key, "uno");
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(second.keys, (std::vector<Number>{{1}, {1}}));
}

TEST(HashMap, AnEntrysAddressHoldsWhileOthersComeAndGo) {
  Map map;
  map.set({-1}, "fixed");
  const std::string* const value = map.find({-1});
  for (int key = 0; key < 1000; ++key) {
    map.set({key}, "x");
  }
  for (int key = 0; key < 1000; ++key) {
    map.erase({key});
  }
  EXPECT_EQ(map.find({-1}), value);
  EXPECT_EQ(*value, "fixed");
}

// The old value of a change lives until its subscribers were told: a reactor may hold the last view
// of what it is about to replace.
struct Witness : RefCounted {
  explicit Witness(bool& gone) : gone_(gone) {}
  ~Witness() override { gone_ = true; }
  bool& gone_;
};

TEST(HashMap, AReplacedOrErasedValueGoesAfterTheRoundAndWithoutSubscribersAtOnce) {
  bool gone = false;
  HashMap<Number, Ptr<Witness>> map;
  map.set({1}, make<Witness>(gone));
  {
    Reactor<Number> reactor(map.changes());
    reactor.action = [&](const Number&) { EXPECT_FALSE(gone); };
    map.set({1}, nullptr);
    EXPECT_TRUE(gone);
  }
  gone = false;
  map.set({1}, make<Witness>(gone));
  map.erase({1});
  EXPECT_TRUE(gone);
}

struct Labelled {
  Number key;
  std::string label;
  friend bool operator==(const Labelled&, const Labelled&) = default;
};

TEST(HashMap, AValueThatCarriesItsKeyIsItsOwnEntry) {
  HashMap<Number, Labelled, OwnKey> map;
  const Reactor<Number> reactor(map.changes());
  EXPECT_TRUE(map.set({1}, {{1}, "one"}));
  EXPECT_FALSE(map.set({1}, {{1}, "one"}));
  EXPECT_TRUE(map.set({1}, {{1}, "uno"}));
  EXPECT_TRUE(map.set({2}, {{2}, "two"}));
  ASSERT_NE(map.find({1}), nullptr);
  EXPECT_EQ(map.find({1})->label, "uno");
  EXPECT_EQ(map.find({1}), &*map.lowerBound({1}));
  EXPECT_TRUE(map.erase({1}));
  EXPECT_EQ(map.begin()->label, "two");
  EXPECT_EQ(reactor.keys, (std::vector<Number>{{1}, {1}, {2}, {1}}));
  EXPECT_EQ(map.version(), 4U);
}

TEST(HashMap, PointersAndStringsAreKeys) {
  bool gone = false;
  const Ptr<Witness> one = make<Witness>(gone);
  const Ptr<Witness> two = make<Witness>(gone);
  HashMap<Ptr<Witness>, int> byPointer;
  byPointer.set(one, 1);
  byPointer.set(two, 2);
  EXPECT_EQ(*byPointer.find(two), 2);
  HashMap<Pomel::String, int> byName;
  byName.set("red", 1);
  byName.set("blue", 2);
  EXPECT_EQ(*byName.find("red"), 1);
}

}  // namespace
}  // namespace Qiv

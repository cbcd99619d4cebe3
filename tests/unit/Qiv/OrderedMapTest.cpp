#include "Qiv/OrderedMap.h"

#include <gtest/gtest.h>

namespace Qiv {
namespace {

struct Row : RefCounted, OrderedMapHook {
  Row(int rowKey, int& rowsAlive) : key(rowKey), alive(rowsAlive) { ++alive; }
  ~Row() override { --alive; }
  int key;
  int& alive;
};

struct RowKey {
  using type = int;
  const int& operator()(const Row& row) const { return row.key; }
};

using Map = OrderedMap<Row, RowKey>;

/// A subscriber that notes "KEY in" or "KEY out" as it finds the map, then does as it was told.
struct Reactor {
  explicit Reactor(Map& watched) : map(watched) {}
  void handle(const int& key) {
    told.push_back(std::to_string(key) + (map.find(key) != nullptr ? " in" : " out"));
    if (action) {
      action(key);
    }
  }
  Map& map;
  std::vector<std::string> told;
  std::function<void(int)> action;
  Subscription<&Reactor::handle, int> subscription{*this, map.changes()};
};

class OrderedMapTest : public testing::Test {
 protected:
  using Told = std::vector<std::string>;

  Ptr<Row> insert(int key) {
    return map_->findOrInsert(
        key, [&] { return make<Row>(key, alive_); }, made_);
  }
  [[nodiscard]] std::vector<int> keys() const {
    std::vector<int> keys;
    for (const Row& row : *map_) {
      keys.push_back(row.key);
    }
    return keys;
  }

  int alive_ = 0;
  bool made_ = false;
  std::unique_ptr<Map> map_ = std::make_unique<Map>();
};

TEST_F(OrderedMapTest, ANewMapIsEmpty) {
  EXPECT_TRUE(map_->empty());
  EXPECT_EQ(map_->size(), 0U);
  EXPECT_EQ(map_->first(), nullptr);
  EXPECT_EQ(map_->find(1), nullptr);
  EXPECT_EQ(map_->lowerBound(0), nullptr);
  EXPECT_EQ(map_->upperBound(0), nullptr);
  EXPECT_EQ(map_->changeWord(), 0U);
}

TEST_F(OrderedMapTest, RowsComeInKeyOrderWhateverTheOrderOfInsertion) {
  for (const int key : {5, 1, 9, 3, 7}) {
    insert(key);
    EXPECT_TRUE(made_);
  }
  EXPECT_EQ(keys(), (std::vector<int>{1, 3, 5, 7, 9}));
  EXPECT_EQ(map_->first()->key, 1);
  EXPECT_EQ(map_->next(*map_->find(5))->key, 7);
  EXPECT_EQ(map_->next(*map_->find(9)), nullptr);
  EXPECT_EQ(map_->lowerBound(4)->key, 5);
  EXPECT_EQ(map_->lowerBound(5)->key, 5);
  EXPECT_EQ(map_->upperBound(5)->key, 7);
  EXPECT_EQ(map_->upperBound(9), nullptr);
}

TEST_F(OrderedMapTest, TheRowFoundLastAndTheOneThatFollowsAreFoundWithoutADescent) {
  EXPECT_EQ(map_->nearLast(1), nullptr) << "nothing was found yet";
  for (const int key : {10, 20, 30}) {
    insert(key);
  }
  EXPECT_EQ(map_->lowerBound(15)->key, 20);
  EXPECT_EQ(map_->nearLast(20)->key, 20);
  EXPECT_EQ(map_->nearLast(19), nullptr) << "10 might be it";
  EXPECT_EQ(map_->nearLast(21)->key, 30);
  EXPECT_EQ(map_->nearLast(20), nullptr) << "30 is the row found last now";
  EXPECT_EQ(map_->nearLast(31), nullptr);
  EXPECT_EQ(map_->nearLast(30L)->key, 30) << "a key of another type";

  EXPECT_EQ(map_->lowerBound(20)->key, 20);
  insert(25);
  EXPECT_EQ(map_->nearLast(21)->key, 25) << "a row came between";
  EXPECT_EQ(map_->lowerBound(31), nullptr);
  EXPECT_EQ(map_->nearLast(30), nullptr) << "nothing was found";
  EXPECT_EQ(map_->lowerBound(30)->key, 30);
  map_->erase(30);
  EXPECT_EQ(map_->nearLast(30), nullptr) << "the row that was found last is gone";
  EXPECT_EQ(map_->lowerBound(25)->key, 25);
  map_->clear();
  EXPECT_EQ(map_->nearLast(25), nullptr);
}

TEST_F(OrderedMapTest, APresentKeyGivesItsRowAndMakesNone) {
  const Ptr<Row> row = insert(1);
  const Reactor reactor(*map_);
  EXPECT_EQ(insert(1), row);
  EXPECT_FALSE(made_);
  EXPECT_EQ(alive_, 1);
  EXPECT_EQ(map_->changeWord(), 1U);
  EXPECT_TRUE(reactor.told.empty());
}

TEST_F(OrderedMapTest, EachChangeMovesTheWordAndIsPublishedOnceAfterIt) {
  Reactor reactor(*map_);
  std::vector<std::uint32_t> words;
  reactor.action = [&](int) { words.push_back(map_->changeWord()); };
  insert(2);
  insert(1);
  EXPECT_TRUE(map_->erase(2));
  EXPECT_FALSE(map_->erase(2));
  insert(2);
  EXPECT_EQ(reactor.told, (Told{"2 in", "1 in", "2 out", "2 in"}));
  EXPECT_EQ(words, (std::vector<std::uint32_t>{1, 2, 3, 4}));
}

TEST_F(OrderedMapTest, ErasingByIteratorIsErasingThatRow) {
  for (const int key : {1, 2, 3}) {
    insert(key);
  }
  const Reactor reactor(*map_);
  map_->erase(std::next(map_->begin()));
  EXPECT_EQ(reactor.told, Told{"2 out"});
  EXPECT_EQ(keys(), (std::vector<int>{1, 3}));
  EXPECT_EQ(map_->changeWord(), 4U);
}

TEST_F(OrderedMapTest, ClearPublishesEveryRowInKeyOrder) {
  for (const int key : {3, 1, 2}) {
    insert(key);
  }
  const Reactor reactor(*map_);
  map_->clear();
  EXPECT_EQ(reactor.told, (Told{"1 out", "2 out", "3 out"}));
  EXPECT_EQ(map_->changeWord(), 6U);
  EXPECT_EQ(alive_, 0);
}

TEST_F(OrderedMapTest, TheMapHoldsARowUntilItIsErasedAndAReaderMayHoldItLonger) {
  insert(1);
  EXPECT_EQ(alive_, 1);
  const Ptr<Row> reader(map_->find(1));
  map_->erase(1);
  EXPECT_EQ(alive_, 1);
  EXPECT_EQ(reader->key, 1);
  EXPECT_EQ(reader->refs(), 1U);
  EXPECT_FALSE(reader->is_linked());
}

TEST_F(OrderedMapTest, ARowErasedWithNoReaderIsFreed) {
  insert(1);
  map_->erase(1);
  EXPECT_EQ(alive_, 0);
}

TEST_F(OrderedMapTest, TheErasedRowLivesThroughTheRound) {
  insert(1);
  Reactor reactor(*map_);
  reactor.action = [&](int) { EXPECT_EQ(alive_, 1); };
  map_->erase(1);
  EXPECT_EQ(reactor.told, Told{"1 out"});
  EXPECT_EQ(alive_, 0);
}

TEST_F(OrderedMapTest, ADestroyedMapReleasesItsRowsAndPublishesNothing) {
  for (const int key : {1, 2, 3}) {
    insert(key);
  }
  const Ptr<Row> reader(map_->find(2));
  const Reactor reactor(*map_);
  map_.reset();
  EXPECT_EQ(alive_, 1);
  EXPECT_TRUE(reactor.told.empty());
  EXPECT_FALSE(reader->is_linked());
}

TEST_F(OrderedMapTest, AReactorMayDeleteTheRowThatIsBeingInserted) {
  Reactor reactor(*map_);
  reactor.action = [&](int key) { map_->erase(key); };
  const Ptr<Row> row = insert(1);
  EXPECT_TRUE(made_);
  EXPECT_EQ(row->key, 1);
  EXPECT_FALSE(row->is_linked());
  EXPECT_TRUE(map_->empty());
  EXPECT_EQ(reactor.told, (Told{"1 in", "1 out"}));
}

TEST_F(OrderedMapTest, AReactorMayPutARowBackUnderTheErasedKey) {
  const Ptr<Row> old = insert(1);
  Reactor reactor(*map_);
  reactor.action = [&](int key) {
    if (map_->find(key) == nullptr) {
      insert(key);
    }
  };
  map_->erase(1);
  ASSERT_NE(map_->find(1), nullptr);
  EXPECT_NE(map_->find(1), old.get());
  EXPECT_EQ(reactor.told, (Told{"1 out", "1 in"}));
}

TEST_F(OrderedMapTest, ClearGoesOnBehindAReactorThatErasesAndInserts) {
  for (int key = 0; key < 10; ++key) {
    insert(key);
  }
  Reactor reactor(*map_);
  reactor.action = [&](int key) {
    if (key == 0 && map_->find(0) == nullptr) {
      map_->erase(1);  // The row that clear would have taken next.
      insert(100);
    }
  };
  map_->clear();
  EXPECT_TRUE(map_->empty());
  EXPECT_EQ(reactor.told, (Told{"0 out", "1 out", "100 in", "2 out", "3 out", "4 out", "5 out",
                                "6 out", "7 out", "8 out", "9 out", "100 out"}));
}

TEST_F(OrderedMapTest, TheMapMayDieInTheRoundOfAnInsertionAndOfADeletion) {
  for (const bool erase : {false, true}) {
    map_ = std::make_unique<Map>();
    insert(1);
    Reactor reactor(*map_);
    reactor.action = [&](int) { map_.reset(); };
    if (erase) {
      map_->erase(1);
    } else {
      EXPECT_EQ(insert(2)->key, 2);
    }
    EXPECT_EQ(map_, nullptr);
    EXPECT_EQ(alive_, 0);
  }
}

TEST_F(OrderedMapTest, AKeyMayBeAPieceOfTheRowItself) {
  insert(1);
  const Reactor reactor(*map_);
  EXPECT_TRUE(map_->erase(map_->first()->key));
  EXPECT_EQ(reactor.told, Told{"1 out"});
}

}  // namespace
}  // namespace Qiv

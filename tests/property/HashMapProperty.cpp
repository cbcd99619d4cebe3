// The hash map against a sorted vector's worth of std::map, with subscribers that write back into
// it from their rounds.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "Qiv/HashMap.h"
#include "tests/property/KeysForProperties.h"

namespace Properties {
namespace {

struct Step {
  enum Kind { kSet, kErase, kClear } kind;
  int key;
  int value;
};

std::ostream& operator<<(std::ostream& out, const Step& step) {
  static constexpr const char* kNames[] = {"set", "erase", "clear"};
  return out << kNames[step.kind] << ' ' << step.key << ' ' << step.value;
}

/// A map and its model, moved together. `reactions` are the steps that the first subscriber takes,
/// one in each of its rounds, until they are used up.
template <class Key>
class Pair {
 public:
  explicit Pair(std::vector<Step> reactions = {}) : reactions_(std::move(reactions)) {}

  void take(const Step& step) {
    const Key key(step.key);
    if (step.kind == Step::kClear) {
      clear();
      return;
    }
    // The model moves first, as a round sees the map after its change.
    bool changes = false;
    if (step.kind == Step::kSet) {
      const auto at = model_.find(key);
      changes = at == model_.end() || at->second != step.value;
      model_.insert_or_assign(key, step.value);
    } else {
      changes = model_.erase(key) != 0;
    }
    changes_ += changes ? 1U : 0U;
    pending_.push_back(step.key);
    const bool changed = step.kind == Step::kSet ? map_.set(key, step.value) : map_.erase(key);
    pending_.pop_back();
    RC_ASSERT(changed == changes);
    checkCounts();
  }

  /// Everything: contents, order, look-ups. Linear.
  void check() const {
    RC_ASSERT(map_.size() == model_.size());
    RC_ASSERT(map_.empty() == model_.empty());
    auto expected = model_.begin();
    for (const auto& entry : map_) {
      RC_ASSERT(expected != model_.end());
      RC_ASSERT(entry.key == expected->first);
      RC_ASSERT(entry.value == expected->second);
      const int* found = map_.find(entry.key);
      RC_ASSERT(found == &entry.value);
      ++expected;
    }
    RC_ASSERT(expected == model_.end());
  }
  void checkBounds(int number) const {
    const Key key(number);
    const auto expect = [&](auto at, auto modelAt) {
      RC_ASSERT((at == map_.end()) == (modelAt == model_.end()));
      RC_ASSERT((at == map_.end() || at->key == modelAt->first));
    };
    expect(map_.lowerBound(key), model_.lower_bound(key));
    expect(map_.upperBound(key), model_.upper_bound(key));
    RC_ASSERT(map_.contains(key) == model_.contains(key));
  }
  [[nodiscard]] std::size_t size() const { return map_.size(); }

 private:
  struct Order {
    bool operator()(const Key& a, const Key& b) const { return walkedBefore(a, b); }
  };

  void clear() {
    if (pending_.empty()) {  // A clear inside of a round would need a model of its interleaving.
      clearing_ = true;
      changes_ += static_cast<std::uint32_t>(model_.size());
      map_.clear();
      clearing_ = false;
      RC_ASSERT(model_.empty());
    }
    checkCounts();
  }
  void checkCounts() const {
    RC_ASSERT(toldFirst_ == changes_);
    RC_ASSERT(toldSecond_ == changes_);
    RC_ASSERT(map_.version() == (changes_ & Qiv::kVersionMask));
  }

  void first(const Key& key) {
    ++toldFirst_;
    if (clearing_) {
      RC_ASSERT(key == model_.begin()->first);
      model_.erase(model_.begin());
    } else {
      RC_ASSERT(key == Key(pending_.back()));
    }
    const int* value = map_.find(key);
    const auto expected = model_.find(key);
    RC_ASSERT((value == nullptr) == (expected == model_.end()));
    RC_ASSERT((value == nullptr || *value == expected->second));
    RC_ASSERT(map_.size() == model_.size());
    if (!clearing_ && reaction_ < reactions_.size()) {
      const std::uint32_t before = toldSecond_;
      const std::uint32_t changesBefore = changes_;
      const Step step = reactions_[reaction_++];
      if (step.kind != Step::kClear) {
        takeNested(step);
        RC_ASSERT(toldSecond_ - before == changes_ - changesBefore);
      }
    }
  }
  /// A step from within a round: the counts of the outer changes are still on their way.
  void takeNested(const Step& step) {
    const Key key(step.key);
    if (step.kind == Step::kSet) {
      const auto at = model_.find(key);
      changes_ += at == model_.end() || at->second != step.value ? 1U : 0U;
      model_.insert_or_assign(key, step.value);
    } else {
      changes_ += model_.erase(key) != 0 ? 1U : 0U;
    }
    pending_.push_back(step.key);
    static_cast<void>(step.kind == Step::kSet ? map_.set(key, step.value) : map_.erase(key));
    pending_.pop_back();
  }
  void second(const Key& /*key*/) { ++toldSecond_; }

  Qiv::HashMap<Key, int> map_;
  std::map<Key, int, Order> model_;
  std::vector<Step> reactions_;
  std::size_t reaction_ = 0;
  std::vector<int> pending_;  ///< Keys of the changes on the stack, innermost last.
  bool clearing_ = false;
  std::uint32_t changes_ = 0;
  std::uint32_t toldFirst_ = 0;
  std::uint32_t toldSecond_ = 0;
  Qiv::Subscription<&Pair::first, Key> subscription1_{*this, map_.changes()};
  Qiv::Subscription<&Pair::second, Key> subscription2_{*this, map_.changes()};
};

rc::Gen<Step> step(int keys) {
  return rc::gen::construct<Step>(rc::gen::weightedElement<Step::Kind>(
                                      {{12, Step::kSet}, {8, Step::kErase}, {1, Step::kClear}}),
                                  rc::gen::inRange(0, keys), rc::gen::inRange(0, 3));
}

template <class Key>
void behavesAsItsModel() {
  const int keys = *rc::gen::element(3, 12, 60);
  const auto steps = *rc::gen::container<std::vector<Step>>(step(keys));
  const auto reactions = *rc::gen::container<std::vector<Step>>(step(keys));
  Pair<Key> pair(reactions);
  for (const Step& next : steps) {
    pair.take(next);
    pair.check();
    pair.checkBounds(next.key);
  }
}

RC_GTEST_PROP(HashMapProperty, BehavesAsItsModelWithAGoodHash, ()) {
  behavesAsItsModel<SpreadKey>();
}
RC_GTEST_PROP(HashMapProperty, BehavesAsItsModelWithThreeHashes, ()) {
  behavesAsItsModel<CrowdedKey>();
}
RC_GTEST_PROP(HashMapProperty, BehavesAsItsModelWithOneHash, ()) {
  behavesAsItsModel<ClashingKey>();
}
RC_GTEST_PROP(HashMapProperty, BehavesAsItsModelWithTexts, ()) { behavesAsItsModel<TextKey>(); }

/// Grows to thousands of entries and shrinks back, several times, at a random pace.
template <class Key>
void growsAndShrinksAsItsModel(int keys) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  Pair<Key> pair;
  for (int phase = 0; phase < 8; ++phase) {
    const bool growing = phase % 2 == 0;
    const auto erasures = (growing ? 1 : 7) + random() % 3;  // of ten
    for (int i = 0; i < keys * 3; ++i) {
      const auto kind = random() % 10 < erasures ? Step::kErase : Step::kSet;
      const auto key = static_cast<int>(random() % static_cast<unsigned>(keys));
      pair.take({kind, key, static_cast<int>(random() % 2)});
      if (random() % 64 == 0) {
        pair.checkBounds(static_cast<int>(random() % static_cast<unsigned>(keys)));
      }
    }
    pair.check();
    if (!growing) {
      for (int key = 0; key < keys; ++key) {
        pair.take({Step::kErase, key, 0});
      }
      EXPECT_EQ(pair.size(), 0U);
    }
  }
}

TEST(HashMapProperty, GrowsAndShrinksAsItsModel) { growsAndShrinksAsItsModel<SpreadKey>(5000); }
TEST(HashMapProperty, GrowsAndShrinksAsItsModelWithPoorHashes) {
  growsAndShrinksAsItsModel<CrowdedKey>(300);
  growsAndShrinksAsItsModel<ClashingKey>(200);
}

}  // namespace
}  // namespace Properties

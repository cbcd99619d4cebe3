#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <vector>

#include "Qiv/OrderedMap.h"

namespace Properties {
namespace {

struct Row : Qiv::RefCounted, Qiv::OrderedMapHook {
  Row(int rowKey, int& rowsAlive) : key(rowKey), alive(rowsAlive) { ++alive; }
  ~Row() override { --alive; }
  int key;
  int& alive;
};
struct RowKey {
  using type = int;
  const int& operator()(const Row& row) const { return row.key; }
};

struct Step {
  enum Kind { kInsert, kErase, kEraseAt, kSeek, kHold, kClear } kind;
  int key;
};
std::ostream& operator<<(std::ostream& out, const Step& step) {
  static constexpr const char* kNames[] = {"insert", "erase", "erase at", "seek", "hold", "clear"};
  return out << kNames[step.kind] << ' ' << step.key;
}

class Pair {
 public:
  explicit Pair(std::vector<Step> reactions) : reactions_(std::move(reactions)) {}

  void take(const Step& step) {
    const auto at = model_.find(step.key);
    switch (step.kind) {
      case Step::kInsert:
        insert(step.key);
        break;
      case Step::kErase: {
        const bool present = at != model_.end();
        if (present) {
          expectChange(step.key);
          model_.erase(at);
        }
        RC_ASSERT(map_.erase(step.key) == present);
        break;
      }
      case Step::kEraseAt: {
        const auto next = model_.lower_bound(step.key);
        if (next != model_.end()) {
          const int key = next->first;
          auto position = map_.begin();
          std::advance(position, std::distance(model_.begin(), next));
          expectChange(key);
          model_.erase(next);
          map_.erase(position);
        }
        break;
      }
      case Step::kSeek:
        sought_ = step.key;
        checkLowerBound(sought_);
        break;
      case Step::kHold:
        if (at != model_.end()) {
          held_.emplace_back(at->second);
        }
        break;
      case Step::kClear:
        clear();
        break;
    }
  }

  void check() const {
    RC_ASSERT(told_ == changes_);
    RC_ASSERT(map_.changeWord() == changes_);
    RC_ASSERT(map_.size() == model_.size());
    const Row* walked = map_.first();
    for (const auto& [key, row] : model_) {
      RC_ASSERT(walked == row);
      RC_ASSERT(map_.find(key) == row);
      walked = map_.next(*walked);
    }
    RC_ASSERT(walked == nullptr);
    for (int key = -1; key <= kKeys; ++key) {
      checkLowerBound(key);
      const auto upper = model_.upper_bound(key);
      RC_ASSERT(map_.upperBound(key) == (upper == model_.end() ? nullptr : upper->second));
    }
    checkLowerBound(sought_);  // What is erased next may be what was found last.
    // A row lives exactly as long as it is in the map or somebody holds it.
    std::map<const Row*, int> owners;
    for (const auto& [key, row] : model_) {
      ++owners[row];
    }
    for (const auto& row : held_) {
      ++owners[row.get()];
    }
    RC_ASSERT(alive_ == static_cast<int>(owners.size()));
    for (const auto& [row, count] : owners) {
      RC_ASSERT(row->refs() == static_cast<std::uint32_t>(count));
    }
  }

  static constexpr int kKeys = 12;

 private:
  void checkLowerBound(int key) const {
    const auto lower = model_.lower_bound(key);
    RC_ASSERT(map_.lowerBound(key) == (lower == model_.end() ? nullptr : lower->second));
  }
  void insert(int key) {
    const bool present = model_.contains(key);
    if (!present) {
      expectChange(key);
    }
    bool made = false;
    const auto row = map_.findOrInsert(
        key,
        [&] {
          const auto fresh = Qiv::make<Row>(key, alive_);
          model_[key] = fresh.get();
          return fresh;
        },
        made);
    RC_ASSERT(made == !present);
    RC_ASSERT(row->key == key);
  }
  void clear() {
    if (!pending_.empty()) {
      return;
    }
    clearing_ = true;
    changes_ += static_cast<std::uint32_t>(model_.size());
    map_.clear();
    clearing_ = false;
  }
  void expectChange(int key) {
    ++changes_;
    pending_.push_back(key);
  }

  void handle(const int& key) {
    ++told_;
    if (clearing_) {
      RC_ASSERT(key == model_.begin()->first);
      model_.erase(model_.begin());
    } else {
      RC_ASSERT(key == pending_.back());
    }
    const auto expected = model_.find(key);
    RC_ASSERT(map_.find(key) == (expected == model_.end() ? nullptr : expected->second));
    RC_ASSERT(map_.size() == model_.size());
    if (!clearing_) {
      if (reaction_ < reactions_.size()) {
        take(reactions_[reaction_++]);
      }
      pending_.pop_back();
    }
  }

  int alive_ = 0;
  std::vector<Qiv::Ptr<Row>> held_;
  Qiv::OrderedMap<Row, RowKey> map_;
  std::map<int, Row*> model_;
  std::vector<Step> reactions_;
  std::size_t reaction_ = 0;
  int sought_ = 0;
  std::vector<int> pending_;  ///< Keys of the changes on the stack, innermost last.
  bool clearing_ = false;
  std::uint32_t changes_ = 0;
  std::uint32_t told_ = 0;
  Qiv::Subscription<&Pair::handle, int> subscription_{*this, map_.changes()};
};

rc::Gen<Step> step() {
  return rc::gen::construct<Step>(rc::gen::weightedElement<Step::Kind>({{12, Step::kInsert},
                                                                        {6, Step::kErase},
                                                                        {3, Step::kEraseAt},
                                                                        {6, Step::kSeek},
                                                                        {2, Step::kHold},
                                                                        {1, Step::kClear}}),
                                  rc::gen::inRange(0, Pair::kKeys));
}

RC_GTEST_PROP(OrderedMapProperty, BehavesAsItsModelAlsoWhenSubscribersWriteBack, ()) {
  const auto steps = *rc::gen::container<std::vector<Step>>(step());
  const auto reactions = *rc::gen::container<std::vector<Step>>(step());
  Pair pair(reactions);
  for (const Step& next : steps) {
    pair.take(next);
    pair.check();
  }
}

}  // namespace
}  // namespace Properties

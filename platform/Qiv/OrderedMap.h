#pragma once

#include <boost/intrusive/set.hpp>
#include <cstddef>
#include <cstdint>

#include "Qiv/Ptr.h"
#include "Qiv/Publisher.h"

namespace Qiv {

/// Tree linkage of a row. Empty while the row is in no map.
using OrderedMapHook =
    boost::intrusive::set_base_hook<boost::intrusive::optimize_size<true>,
                                    boost::intrusive::link_mode<boost::intrusive::safe_link>>;

/// An instantiating, ordered map attribute: the rows are tree nodes themselves, the map holds a
/// reference to each, and the key is the row's own attribute (`KeyOf::type`, `operator()(Row)`),
/// which must not change while the row is linked.
///
/// Invariants: no two rows share a key; changeWord() takes a new value with every insertion and
/// every deletion, so a walk that kept it knows whether its current row may still be linked.
/// Each mutation publishes the key once, after the change and before the mutator returns.
template <class Row, class KeyOf>
class OrderedMap {
 public:
  using Key = typename KeyOf::type;
  using key_type = Key;
  using Tree = boost::intrusive::set<Row, boost::intrusive::base_hook<OrderedMapHook>,
                                     boost::intrusive::key_of_value<KeyOf>>;
  using const_iterator = typename Tree::const_iterator;

  OrderedMap() = default;
  OrderedMap(const OrderedMap&) = delete;
  OrderedMap& operator=(const OrderedMap&) = delete;
  ~OrderedMap() {
    tree_.clear_and_dispose([](const Row* row) { row->unref(); });
  }

  [[nodiscard]] Row* find(const Key& key) const { return rowAt(tree_.find(key)); }
  /// The row with the smallest key, or null.
  [[nodiscard]] Row* first() const { return rowAt(tree_.begin()); }
  /// The first row whose key is not less than `key`, or null; nearLast() finds it at once from now
  /// on.
  [[nodiscard]] Row* lowerBound(const Key& key) const {
    found_ = rowAt(tree_.lower_bound(key));
    return found_;
  }
  /// The same without a descent of the tree, where that is the row found last or the one that
  /// follows it; else null, which says nothing. Managers ask for row after row. The key may be of
  /// any type that is ordered with the map's.
  template <class Like>
  [[nodiscard]] Row* nearLast(const Like& key) const {
    if (found_ == nullptr) {
      return nullptr;
    }
    const auto order = key <=> KeyOf{}(*found_);
    if (order < 0) {
      return nullptr;
    }
    if (order > 0) {
      Row* following = next(*found_);
      if (following == nullptr || key > KeyOf{}(*following)) {
        return nullptr;
      }
      found_ = following;
    }
    return found_;
  }
  /// The first row whose key is greater than `key`, or null.
  [[nodiscard]] Row* upperBound(const Key& key) const { return rowAt(tree_.upper_bound(key)); }
  /// The in-order successor of a row that is linked in this map, or null.
  [[nodiscard]] Row* next(const Row& row) const { return rowAt(++tree_.iterator_to(row)); }

  [[nodiscard]] std::size_t size() const noexcept { return tree_.size(); }
  [[nodiscard]] bool empty() const noexcept { return tree_.empty(); }
  [[nodiscard]] const_iterator begin() const { return tree_.begin(); }
  [[nodiscard]] const_iterator end() const { return tree_.end(); }
  /// Where a walk from `key` on begins: lowerBound() as an iterator.
  [[nodiscard]] const_iterator walkFrom(const Key& key) const { return tree_.lower_bound(key); }
  [[nodiscard]] std::uint32_t changeWord() const noexcept { return changeWord_; }
  [[nodiscard]] Publisher<Key>& changes() const noexcept { return changes_; }

  /// Finds the row of `key`, or makes one by `makeRow()` (which returns Ptr<Row> with that key).
  /// `made` tells which. One descent of the tree. Counted: a subscriber may delete the row while it
  /// is told of it.
  template <class MakeRow>
  Ptr<Row> findOrInsert(const Key& key, MakeRow&& makeRow, bool& made) {
    typename Tree::insert_commit_data place;
    const auto [at, absent] = tree_.insert_check(key, place);
    made = absent;
    if (!absent) {
      return Ptr<Row>(&*at);
    }
    Ptr<Row> row = makeRow();
    row->ref();  // The map's reference.
    tree_.insert_commit(*row, place);
    changed(KeyOf{}(*row));
    return row;
  }

  /// False when absent.
  bool erase(const Key& key) {
    const auto at = tree_.find(key);
    if (at == tree_.end()) {
      return false;
    }
    erase(at);
    return true;
  }
  void erase(const_iterator at) {
    const Ptr<Row> row = Ptr<Row>::adopt(const_cast<Row*>(&*at));  // Lives through the round.
    if (found_ == row.get()) {
      found_ = nullptr;
    }
    tree_.erase(at);
    changed(KeyOf{}(*row));
  }
  /// Removes every row in key order, each published on its own.
  void clear() {
    while (!tree_.empty()) {
      erase(tree_.begin());
    }
  }

 private:
  [[nodiscard]] Row* rowAt(const_iterator at) const {
    return at == tree_.end() ? nullptr : const_cast<Row*>(&*at);
  }
  void changed(const Key& key) {
    ++changeWord_;
    changes_.publish(key);
  }

  Tree tree_;
  std::uint32_t changeWord_ = 0;
  mutable Row* found_ = nullptr;  ///< The row found last, while it is linked.
  mutable Publisher<Key> changes_;
};

}  // namespace Qiv

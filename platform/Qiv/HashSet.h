#pragma once

#include "Qiv/HashTable.h"
#include "Qiv/Publisher.h"

namespace Qiv {

/// A set attribute of an entity; publishes and orders as HashMap does.
template <class Key>
class HashSet {
 public:
  struct KeyOf {
    const Key& operator()(const Key& entry) const { return entry; }
  };
  using Table = HashTable<Key, KeyOf>;
  using const_iterator = typename Table::const_iterator;
  using key_type = Key;

  [[nodiscard]] bool contains(const Key& key) const { return table_.find(key) != nullptr; }
  [[nodiscard]] std::size_t size() const noexcept { return table_.size(); }
  [[nodiscard]] bool empty() const noexcept { return table_.empty(); }
  [[nodiscard]] const_iterator begin() const { return table_.begin(); }
  [[nodiscard]] const_iterator end() const { return table_.end(); }
  [[nodiscard]] const_iterator lowerBound(const Key& key) const { return table_.lowerBound(key); }
  [[nodiscard]] const_iterator upperBound(const Key& key) const { return table_.upperBound(key); }
  [[nodiscard]] std::uint32_t version() const noexcept { return table_.version(); }
  [[nodiscard]] Publisher<Key>& changes() const noexcept { return changes_; }

  /// True when `key` was absent.
  bool insert(const Key& key) {
    if (!table_.findOrEmplace(key, key).second) {
      return false;
    }
    changed(key);
    return true;
  }
  /// True when `key` was there.
  bool erase(const Key& key) { return removed(table_.take(key)); }
  /// Takes one key out, any; false when there is none. `from` is 0 at first and kept between calls:
  /// emptying a set by it is linear.
  bool eraseFirst(std::uint32_t& from) { return removed(table_.takeFirst(from)); }
  void clear() {
    std::uint32_t from = 0;
    while (eraseFirst(from)) {
    }
  }

 private:
  /// Publishes a key that was taken out of the table; false when none was.
  bool removed(const typename Table::NodeOwner& node) {
    if (node == nullptr) {
      return false;
    }
    changed(node->entry);
    return true;
  }
  void changed(const Key& key) {
    table_.versionStep();
    if (changes_.hasSubscribers()) {
      const Key kept = key;
      changes_.publish(kept);
    }
  }

  Table table_;
  mutable Publisher<Key> changes_;
};

}  // namespace Qiv

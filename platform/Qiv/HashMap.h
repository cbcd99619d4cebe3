#pragma once

#include <utility>

#include "Qiv/HashTable.h"
#include "Qiv/Publisher.h"

namespace Qiv {

/// How a map keeps its keys. StoredKey: beside the value, as `entry.key` and `entry.value`.
template <class Key, class Value>
struct StoredKey {
  struct Entry {
    Key key;
    Value value;
  };
  static Entry make(const Key& key, const Value& value) { return {key, value}; }
  static const Key& key(const Entry& entry) { return entry.key; }
  static auto& value(auto& entry) { return entry.value; }
};

/// OwnKey: the value carries it as its member `key`, and is the entry. No byte is kept twice.
template <class Key, class Value>
struct OwnKey {
  using Entry = Value;
  static Entry make(const Key& /*key*/, const Value& value) { return value; }
  static const Key& key(const Entry& entry) { return entry.key; }
  static auto& value(auto& entry) { return entry; }
};

/// A map attribute of an entity. Every insertion, change of a value and deletion moves version()
/// and then publishes the key, exactly once, synchronously: when the mutator returns, every
/// subscriber has been told, and each has seen the map as it was after that one change. Walks: see
/// HashTable. `Value` needs ==; setting an equal value is a no-op.
template <class Key, class Value, template <class, class> class Keeping = StoredKey>
class HashMap {
 public:
  using Keep = Keeping<Key, Value>;
  using Entry = typename Keep::Entry;
  struct KeyOf {
    const Key& operator()(const Entry& entry) const { return Keep::key(entry); }
  };
  using Table = HashTable<Entry, KeyOf>;
  using const_iterator = typename Table::const_iterator;
  using key_type = Key;
  using mapped_type = Value;

  /// The value of `key`, or null. Holds until the next mutation of that key.
  [[nodiscard]] const Value* find(const Key& key) const {
    const Entry* entry = table_.find(key);
    return entry == nullptr ? nullptr : &Keep::value(*entry);
  }
  [[nodiscard]] bool contains(const Key& key) const { return find(key) != nullptr; }
  [[nodiscard]] std::size_t size() const noexcept { return table_.size(); }
  [[nodiscard]] bool empty() const noexcept { return table_.empty(); }
  [[nodiscard]] const_iterator begin() const { return table_.begin(); }
  [[nodiscard]] const_iterator end() const { return table_.end(); }
  [[nodiscard]] const_iterator lowerBound(const Key& key) const { return table_.lowerBound(key); }
  [[nodiscard]] const_iterator upperBound(const Key& key) const { return table_.upperBound(key); }

  /// Moves with every change of the map; 23 bits, wraps.
  [[nodiscard]] std::uint32_t version() const noexcept { return table_.version(); }
  /// Where changes are published, by key.
  [[nodiscard]] Publisher<Key>& changes() const noexcept { return changes_; }

  /// Sets `key` to `value`. True when that changed anything.
  bool set(const Key& key, Value value) {
    const auto [entry, made] = table_.findOrEmplace(key, Keep::make(key, value));
    if (!made) {
      if (Keep::value(*entry) == value) {
        return false;
      }
      std::swap(Keep::value(*entry),
                value);  // The old value lives until the subscribers were told.
    }
    changed(key);
    return true;
  }

  /// Removes `key`. True when it was there.
  bool erase(const Key& key) {
    const auto node = table_.take(key);  // Holds the entry, and perhaps `key`, through the round.
    if (node == nullptr) {
      return false;
    }
    changed(Keep::key(node->entry));
    return true;
  }

  /// Removes every entry in iteration order, each published on its own.
  void clear() {
    std::uint32_t from = 0;
    while (const auto node = table_.takeFirst(from)) {
      changed(Keep::key(node->entry));
    }
  }

 private:
  void changed(const Key& key) {
    table_.versionStep();
    if (changes_.hasSubscribers()) {
      const Key kept = key;  // The entry may go in the middle of the round.
      changes_.publish(kept);
    }
  }

  Table table_;
  mutable Publisher<Key> changes_;
};

}  // namespace Qiv

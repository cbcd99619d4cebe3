#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "Pomel/Hash.h"
#include "Qiv/Ptr.h"

namespace Qiv {

/// Hash of a key for the collections; `seed` is mixed in first.
template <class Key>
requires requires(const Key& key) { key.hash(std::uint64_t{}); }
[[nodiscard]] std::uint64_t hashOf(const Key& key, std::uint64_t seed) { return key.hash(seed); }

template <class T>
[[nodiscard]] std::uint64_t hashOf(const Ptr<T>& key, std::uint64_t seed) {
  return Pomel::hashMix(seed, static_cast<std::uint64_t>(std::bit_cast<std::uintptr_t>(key.get())));
}

/// The modification version of a hash collection: 23 bits, wraps.
inline constexpr std::uint32_t kVersionMask = (1U << 23) - 1;

/// Chained hash table of unique keys whose iteration order is a property of the keys alone.
///
/// Invariant: a walk visits entries in ascending (hash, key) order, whatever the table's size and
/// history. Buckets are indexed by the top bits of the hash and each chain is sorted, so growing
/// splits chains without reordering them. That is what lets a scan stop, remember a key, and go on
/// from it after any number of insertions, deletions and rehashes: nothing that was there
/// throughout is missed or met twice (lowerBound, upperBound).
///
/// Small tables (up to kInline entries) are one chain and own no array. Iterators and entry
/// addresses hold until that entry is erased; iterators do not survive a rehash, so code that calls
/// out while it walks goes on by key.
///
/// `KeyOf` gives the key of an entry; keys need ==, < and hashOf.
template <class Entry, class KeyOf>
class HashTable {
 public:
  using Key = std::remove_cvref_t<decltype(KeyOf{}(std::declval<const Entry&>()))>;

  struct Node {
    Node* next;
    std::uint32_t hash;
    Entry entry;
  };
  using NodeOwner = std::unique_ptr<Node>;

  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    using pointer = const Entry*;
    using reference = const Entry&;

    const_iterator() = default;
    reference operator*() const { return node_->entry; }
    pointer operator->() const { return &node_->entry; }
    const_iterator& operator++() {
      node_ = table_->successor(node_);
      return *this;
    }
    const_iterator operator++(int) {
      const const_iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const const_iterator& a, const const_iterator& b) {
      return a.node_ == b.node_;
    }

   private:
    friend class HashTable;
    const_iterator(const HashTable* table, Node* node) : table_(table), node_(node) {}
    const HashTable* table_ = nullptr;
    Node* node_ = nullptr;
  };

  HashTable() = default;
  HashTable(const HashTable&) = delete;
  HashTable& operator=(const HashTable&) = delete;
  ~HashTable() {
    std::uint32_t from = 0;
    while (NodeOwner node = takeFirst(from)) {
    }
    release();
  }

  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  [[nodiscard]] std::uint32_t version() const noexcept { return version_; }
  void versionStep() noexcept { version_ = (version_ + 1) & kVersionMask; }

  [[nodiscard]] const_iterator begin() const { return {this, firstFrom(0)}; }
  [[nodiscard]] const_iterator end() const { return {this, nullptr}; }

  [[nodiscard]] Entry* find(const Key& key) const {
    const Place place = locate(key);
    return place.found ? &(*place.link)->entry : nullptr;
  }
  /// The first entry at or after `key` in iteration order; `key` need not be present.
  [[nodiscard]] const_iterator lowerBound(const Key& key) const { return from(locate(key)); }
  /// The first entry after `key` in iteration order; `key` need not be present.
  [[nodiscard]] const_iterator upperBound(const Key& key) const {
    const Place place = locate(key);
    const const_iterator at = from(place);
    return place.found ? std::next(at) : at;
  }

  /// The entry of `key` and whether it was made now, from `args`.
  template <class... Args>
  std::pair<Entry*, bool> findOrEmplace(const Key& key, Args&&... args) {
    Place place = locate(key);
    if (place.found) {
      return {&(*place.link)->entry, false};
    }
    if (size_ >= capacity()) {
      rehash(log2_ == 0 ? kFirstLog2 : log2_ + 1);
      place = locate(key);
    }
    Node* node = new Node{*place.link, place.hash, Entry{std::forward<Args>(args)...}};
    *place.link = node;
    ++size_;
    return {&node->entry, true};
  }

  /// Takes the entry of `key` out and gives it to the caller; null when absent.
  [[nodiscard]] NodeOwner take(const Key& key) {
    const Place place = locate(key);
    return place.found ? takeAt(place.link) : nullptr;
  }
  /// Takes the first entry of the chains from `from` on (a place in the order, 0 to begin with,
  /// moved along), beginning again where entries were put in behind it; null when empty. Emptying a
  /// table by it is linear.
  [[nodiscard]] NodeOwner takeFirst(std::uint32_t& from) {
    if (size_ == 0) {
      return nullptr;
    }
    Node** link = &chains()[chainOf(from)];
    Node** const end = chains() + chainCount();
    while (*link == nullptr) {
      link = link + 1 == end ? chains() : link + 1;
    }
    from = (*link)->hash;
    return takeAt(link);
  }

 private:
  static constexpr std::uint32_t kInline = 4;
  static constexpr std::uint32_t kFirstLog2 = 3;
  static constexpr std::uint32_t kLog2Mask = 31;

  struct Place {
    Node** link;  ///< Where the key is, or where it would be put.
    std::uint32_t hash;
    bool found;
  };

  [[nodiscard]] static std::uint32_t hashOfKey(const Key& key) {
    return static_cast<std::uint32_t>(hashOf(key, 0) >> 32);
  }
  [[nodiscard]] std::size_t chainCount() const noexcept { return std::size_t{1} << log2_; }
  [[nodiscard]] std::size_t capacity() const noexcept {
    return log2_ == 0 ? kInline : chainCount();
  }
  [[nodiscard]] Node** chains() const noexcept {
    return log2_ == 0 ? &store_.single : store_.array;
  }
  [[nodiscard]] std::size_t chainOf(std::uint32_t hash) const noexcept {
    return log2_ == 0 ? 0 : hash >> (32 - log2_);
  }

  [[nodiscard]] Place locate(const Key& key) const {
    const std::uint32_t hash = hashOfKey(key);
    Node** link = &chains()[chainOf(hash)];
    for (; *link != nullptr; link = &(*link)->next) {
      const Node& node = **link;
      if (node.hash < hash) {
        continue;
      }
      if (node.hash > hash) {
        break;
      }
      const auto& nodeKey = KeyOf{}(node.entry);
      if (nodeKey == key) {
        return {link, hash, true};
      }
      if (key < nodeKey) {
        break;
      }
    }
    return {link, hash, false};
  }
  [[nodiscard]] const_iterator from(const Place& place) const {
    return {this, *place.link != nullptr ? *place.link : firstFrom(chainOf(place.hash) + 1)};
  }
  [[nodiscard]] Node* firstFrom(std::size_t chain) const noexcept {
    for (; chain < chainCount(); ++chain) {
      if (Node* node = chains()[chain]) {
        return node;
      }
    }
    return nullptr;
  }
  [[nodiscard]] Node* successor(const Node* node) const noexcept {
    return node->next != nullptr ? node->next : firstFrom(chainOf(node->hash) + 1);
  }

  NodeOwner takeAt(Node** link) {
    NodeOwner node(*link);
    *link = node->next;
    node->next = nullptr;
    --size_;
    // An eighth full: far enough from the growing point that no sequence of single insertions and
    // deletions rehashes each time.
    if (log2_ > kFirstLog2 && size_ * 8 < chainCount()) {
      rehash(log2_ - 1);
    } else if (log2_ != 0 && size_ == 0) {
      rehash(0);
    }
    return node;
  }

  void rehash(std::uint32_t log2) {
    // Made first: nothing has changed yet if it throws.
    Node** const array = log2 == 0 ? nullptr : new Node* [std::size_t{1} << log2] {};
    Node* walk = firstFrom(0);
    Node** const oldChains = chains();
    const std::size_t oldCount = chainCount();
    // All nodes become one list in iteration order, then are dealt out in that same order.
    Node* all = walk;
    for (std::size_t chain = walk == nullptr ? oldCount : chainOf(walk->hash); chain < oldCount;
         ++chain) {
      for (Node* node = oldChains[chain]; node != nullptr; node = node->next) {
        if (node != all) {
          walk->next = node;
          walk = node;
        }
      }
    }
    release();
    log2_ = log2 & kLog2Mask;
    if (log2_ == 0) {
      store_.single = all;
      return;
    }
    store_.array = array;
    std::size_t chain = chainCount();
    Node** tail = nullptr;
    while (all != nullptr) {
      Node* node = std::exchange(all, all->next);
      node->next = nullptr;
      if (tail == nullptr || chainOf(node->hash) != chain) {
        chain = chainOf(node->hash);
        tail = &store_.array[chain];
      }
      *tail = node;
      tail = &node->next;
    }
  }
  void release() noexcept {
    if (log2_ != 0) {
      delete[] store_.array;
    }
  }

  union Store {
    Node* single = nullptr;
    Node** array;
  };
  mutable Store store_;
  std::uint32_t size_ = 0;
  std::uint32_t version_ : 23 = 0;
  std::uint32_t log2_ : 5 = 0;
};

}  // namespace Qiv

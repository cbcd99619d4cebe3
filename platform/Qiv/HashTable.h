#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <new>
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
/// Small tables (up to kInline entries) are one chain and own no array. Large ones change their
/// size a few chains with each insertion and removal, so that none of these takes as long as the
/// table is big. Iterators and entry addresses hold until that entry is erased; iterators do not
/// survive a rehash, so code that calls out while it walks goes on by key.
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

  [[nodiscard]] const_iterator begin() const { return {this, nodeFrom(0)}; }
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
    moveOn();
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
    Node** link = linkFrom(from);
    if (link == nullptr) {
      link = linkFrom(0);
    }
    from = (*link)->hash;
    return takeAt(link);
  }

 private:
  static constexpr std::uint32_t kInline = 4;
  static constexpr std::uint32_t kFirstLog2 = 3;
  static constexpr std::uint32_t kLog2Mask = 31;
  /// Smaller tables than this change their size at once.
  static constexpr std::uint32_t kMovingLog2 = 12;
  /// Enough for a move to be over before the next can begin, whatever is put in and taken out: the
  /// shortest time is from one halving of the chains to the next, a removal for eight chains.
  static constexpr unsigned kMovesPerChange = 16;
  static constexpr std::uint64_t kHashes = std::uint64_t{1} << 32;

  struct Place {
    Node** link;  ///< Where the key is, or where it would be put.
    std::uint32_t hash;
    bool found;
  };

  /// The chains of an array of 2^log2, by the top bits of the hash.
  struct Chains {
    Node** array;
    std::uint32_t log2;

    [[nodiscard]] std::size_t of(std::uint64_t hash) const noexcept { return hash >> (32 - log2); }
    /// The first chain that is not empty, of those from the one of `from` to before the one of
    /// `to`; null when all are.
    [[nodiscard]] Node** firstIn(std::uint64_t from, std::uint64_t to) const noexcept {
      Node** const end = array + of(to);
      Node** const at = std::find_if(array + of(from), end, [](Node* chain) { return chain; });
      return at == end ? nullptr : at;
    }
  };
  /// A table that changes its size: the hashes below `bound` are in `chains`, of the new size, the
  /// others in `old`. `bound` begins a chain of both.
  struct Moving {
    Chains chains;
    Chains old;
    std::uint64_t bound;
  };

  [[nodiscard]] static std::uint32_t hashOfKey(const Key& key) {
    return static_cast<std::uint32_t>(hashOf(key, 0) >> 32);
  }
  [[nodiscard]] std::uint32_t log2() const noexcept { return log2_; }
  [[nodiscard]] std::size_t chainCount() const noexcept { return std::size_t{1} << log2_; }
  [[nodiscard]] std::size_t capacity() const noexcept {
    return log2_ == 0 ? kInline : chainCount();
  }
  /// The chains in which `hash` is.
  [[nodiscard]] Chains chainsOf(std::uint64_t hash) const noexcept {
    if (moving_) [[unlikely]] {
      return hash < store_.moving->bound ? store_.moving->chains : store_.moving->old;
    }
    return {log2_ == 0 ? &store_.single : store_.array, log2_};
  }
  /// The first chain that is not empty from the one of `hash` on, or null.
  [[nodiscard]] Node** linkFrom(std::uint64_t hash) const noexcept {
    const Chains chains = chainsOf(hash);
    if (!moving_ || hash >= store_.moving->bound) {
      return chains.firstIn(hash, kHashes);
    }
    const std::uint64_t bound = store_.moving->bound;
    Node** const link = chains.firstIn(hash, bound);
    return link != nullptr ? link : store_.moving->old.firstIn(bound, kHashes);
  }
  [[nodiscard]] Node* nodeFrom(std::uint64_t hash) const noexcept {
    Node** const link = linkFrom(hash);
    return link == nullptr ? nullptr : *link;
  }
  /// The first node behind the chain of `hash`, or null.
  [[nodiscard]] Node* nodeBehindChain(std::uint32_t hash) const noexcept {
    const Chains chains = chainsOf(hash);
    return nodeFrom((std::uint64_t{chains.of(hash)} + 1) << (32 - chains.log2));
  }

  [[nodiscard]] Place locate(const Key& key) const {
    const std::uint32_t hash = hashOfKey(key);
    const Chains chains = chainsOf(hash);
    Node** link = &chains.array[chains.of(hash)];
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
    return {this, *place.link != nullptr ? *place.link : nodeBehindChain(place.hash)};
  }
  [[nodiscard]] Node* successor(const Node* node) const noexcept {
    return node->next != nullptr ? node->next : nodeBehindChain(node->hash);
  }

  NodeOwner takeAt(Node** link) {
    NodeOwner node(*link);
    *link = node->next;
    node->next = nullptr;
    --size_;
    // An eighth full: far enough from the growing point that no sequence of single insertions and
    // deletions rehashes each time.
    if (size_ == 0) {
      release();
    } else if (log2_ > kFirstLog2 && size_ * 8 < chainCount()) {
      rehash(log2_ - 1);
    }
    moveOn();
    return node;
  }

  void rehash(std::uint32_t log2) {
    while (moving_) {
      moveOn();
    }
    // Made first: nothing has changed yet if it throws. Zeros by calloc, as for a large array these
    // cost nothing until they are touched.
    const auto freeArray = [](Node** array) { std::free(array); };
    std::unique_ptr<Node*[], decltype(freeArray)> array(
        static_cast<Node**>(std::calloc(std::size_t{1} << log2, sizeof(void*))));
    if (!array) {
      throw std::bad_alloc();
    }
    const Chains old = chainsOf(0);
    if (std::min(log2, this->log2()) >= kMovingLog2) {
      store_.moving = new Moving{{array.get(), log2}, old, 0};
      moving_ = true;
    } else {
      move(old, {array.get(), log2}, 0, kHashes);
      if (log2_ != 0) {
        std::free(store_.array);
      }
      store_.array = array.get();
    }
    array.release();
    log2_ = log2 & kLog2Mask;
  }
  /// Goes on with a change of size, if there is one.
  void moveOn() noexcept {
    if (!moving_) [[likely]] {
      return;
    }
    Moving& moving = *store_.moving;
    const std::uint64_t step = kMovesPerChange * kHashes >> std::min(log2(), moving.old.log2);
    const std::uint64_t to = std::min(moving.bound + step, kHashes);
    move(moving.old, moving.chains, moving.bound, to);
    moving.bound = to;
    if (to == kHashes) {
      std::free(moving.old.array);
      const std::unique_ptr<Moving> done(&moving);
      store_.array = done->chains.array;
      moving_ = false;
    }
  }
  /// Deals the nodes of the hashes from `from` to before `to` out in their order, which is that of
  /// each chain.
  static void move(const Chains& old, const Chains& chains, std::uint64_t from,
                   std::uint64_t to) noexcept {
    Node** tail = nullptr;
    std::size_t chain = 0;
    for (std::size_t at = old.of(from); at < old.of(to); ++at) {
      for (Node* node = old.array[at]; node != nullptr;) {
        Node* const next = std::exchange(node->next, nullptr);
        if (tail == nullptr || chains.of(node->hash) != chain) {
          chain = chains.of(node->hash);
          tail = &chains.array[chain];
        }
        *tail = node;
        tail = &node->next;
        node = next;
      }
    }
  }
  /// Back to the one chain, of a table without entries.
  void release() noexcept {
    if (moving_) {
      const std::unique_ptr<Moving> moving(store_.moving);
      std::free(moving->old.array);
      std::free(moving->chains.array);
    } else if (log2_ != 0) {
      std::free(store_.array);
    }
    store_.single = nullptr;
    log2_ = 0;
    moving_ = false;
  }

  union Store {
    Node* single = nullptr;
    Node** array;
    Moving* moving;
  };
  mutable Store store_;
  std::uint32_t size_ = 0;
  std::uint32_t version_ : 23 = 0;
  std::uint32_t log2_ : 5 = 0;
  std::uint32_t moving_ : 1 = 0;
};

}  // namespace Qiv

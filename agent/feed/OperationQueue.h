#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>
#include <variant>

#include "agent/feed/ContextLimit.h"
#include "agent/feed/Operation.h"

namespace Agent {

/// The operations that change something; hello and sync are settled by the session itself.
using Change = std::variant<SetInterface, Put, Remove, RemoveHost, RemoveClient>;

/// Accepted changes of all clients in the order of acceptance, waiting to be applied.
///
/// Positions: the n-th change that was ever accepted has position n. Everything a client sent
/// before some moment is visible once appliedUpTo() has reached the accepted() of that moment.
/// While what was applied is withdrawn for a time, nothing is visible: appliedUpTo() is 0 then.
class OperationQueue {
 public:
  struct Entry {
    Pomel::String client;  ///< Empty: the kernel, which says interface indexes and nothing else.
    Change change;
  };

  explicit OperationQueue(std::size_t capacity, ContextLimit contexts = ContextLimit())
      : capacity_(capacity), contexts_(std::move(contexts)) {}

  /// Sessions stop taking lines while this holds; that is what bounds the queue.
  [[nodiscard]] bool full() const noexcept { return waiting_.size() >= capacity_; }
  /// Whom sessions ask before they push a put.
  [[nodiscard]] ContextLimit& contexts() noexcept { return contexts_; }
  [[nodiscard]] const ContextLimit& contexts() const noexcept { return contexts_; }

  /// Never refuses: the agent's own entries, of which there is at most one a client, must not be
  /// lost to a full queue.
  void push(Entry entry) {
    waiting_.push_back(std::move(entry));
    ++accepted_;
  }

  [[nodiscard]] bool empty() const noexcept { return waiting_.empty(); }
  /// Precondition: not empty, and all that was popped before has been applied.
  [[nodiscard]] Entry pop() {
    Entry entry = std::move(waiting_.front());
    waiting_.pop_front();
    return entry;
  }
  /// What was popped last is now visible.
  void applied() noexcept { ++applied_; }
  /// Everything that was applied is withdrawn for a time, or is back.
  void withdrawnIs(bool withdrawn) noexcept { withdrawn_ = withdrawn; }

  [[nodiscard]] std::size_t waiting() const noexcept { return waiting_.size(); }
  [[nodiscard]] std::uint64_t accepted() const noexcept { return accepted_; }
  [[nodiscard]] std::uint64_t appliedUpTo() const noexcept { return withdrawn_ ? 0 : applied_; }

 private:
  std::size_t capacity_;
  ContextLimit contexts_;
  std::deque<Entry> waiting_;
  std::uint64_t accepted_ = 0;
  std::uint64_t applied_ = 0;
  bool withdrawn_ = false;
};

}  // namespace Agent

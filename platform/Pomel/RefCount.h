#pragma once

#include <atomic>
#include <cstdint>

namespace Pomel {

/// The process-wide pointer mode. Off (the default): counts are plain memory, as everything runs on
/// one event thread. On: counts are atomic read-modify-write instructions, for a host that hands
/// counted objects to other threads. Set it before a second thread exists, never back.
extern bool threadSafePtrs;

/// A reference count that costs an atomic instruction only in the thread-safe-pointer mode.
/// Invariant: in the plain mode only one thread touches the count.
class RefCount {
 public:
  void inc() noexcept {
    if (threadSafePtrs) [[unlikely]] {
      count_.fetch_add(1, std::memory_order_relaxed);
    } else {
      count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
  }

  /// True when the last reference went.
  [[nodiscard]] bool dec() noexcept {
    if (threadSafePtrs) [[unlikely]] {
      return count_.fetch_sub(1, std::memory_order_acq_rel) == 1;
    }
    const std::uint32_t left = count_.load(std::memory_order_relaxed) - 1;
    count_.store(left, std::memory_order_relaxed);
    return left == 0;
  }

  /// Holds the count far from zero, so that references taken and dropped while the object is being
  /// destroyed cannot destroy it a second time.
  void pin() noexcept { count_.store(kPinned, std::memory_order_relaxed); }

  [[nodiscard]] std::uint32_t value() const noexcept {
    return count_.load(std::memory_order_relaxed);
  }

 private:
  static constexpr std::uint32_t kPinned = 1U << 30;
  std::atomic<std::uint32_t> count_{0};
};

}  // namespace Pomel

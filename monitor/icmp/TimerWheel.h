#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "monitor/Prober.h"

namespace Monitor::Icmp {

/// One timer for each of many small numbers. Setting, moving and cancelling cost the same few
/// instructions however many there are, which a heap's don't.
///
/// A timer never fires early, and at most one tick (and the caller's own lateness) late.
class TimerWheel {
 public:
  using Id = std::uint32_t;

  explicit TimerWheel(std::chrono::nanoseconds tick) : tick_(tick) { heads_.fill(kNone); }

  /// Sets `id`'s timer, in place of the one that it may have.
  void set(Id id, Clock::time_point due);
  void cancel(Id id);

  /// Calls fire(id) for every timer due by `now`, the earlier ticks first, each unset before its
  /// call. `fire` may set and cancel any; what it sets fires in a later advance().
  template <class Fire>
  void advance(Clock::time_point now, Fire&& fire) {
    collect(now);
    for (const Id id : firing_) {
      if (entries_[id].place == Place::kFiring) {
        entries_[id].place = Place::kNowhere;
        fire(id);
      }
    }
  }

  /// No timer is due before this; null when there is none.
  [[nodiscard]] std::optional<Clock::time_point> next() const;

 private:
  static constexpr std::size_t kBuckets = 512;
  static constexpr Id kNone = UINT32_MAX;

  enum class Place : std::uint8_t { kNowhere, kBucket, kFiring };

  struct Entry {
    std::int64_t tick = 0;
    Id before = kNone, behind = kNone;  ///< In the bucket's list.
    Place place = Place::kNowhere;
  };

  [[nodiscard]] static std::size_t bucketOf(std::int64_t tick) {
    return static_cast<std::size_t>(tick) % kBuckets;
  }
  void unlink(Id id);
  void collect(Clock::time_point now);
  void collectBucket(std::size_t bucket, std::int64_t upTo);

  std::chrono::nanoseconds tick_;
  std::int64_t current_ = 0;  ///< Ticks up to this one have fired.
  std::vector<Entry> entries_;
  std::array<Id, kBuckets> heads_{};
  std::size_t linked_ = 0;
  std::vector<Id> firing_;
};

}  // namespace Monitor::Icmp

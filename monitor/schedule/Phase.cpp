#include "monitor/schedule/Phase.h"

#include <algorithm>

namespace Monitor {

namespace {

using std::chrono::nanoseconds;

/// First rounds are spread over this time where the interval is longer, so that a start or a reload
/// shows results soon without sending everything at once.
constexpr nanoseconds kFirstRounds = std::chrono::seconds(10);

nanoseconds within(std::uint64_t hash, nanoseconds span) {
  return nanoseconds(static_cast<std::int64_t>(hash % static_cast<std::uint64_t>(span.count())));
}

}  // namespace

std::uint64_t stableHash(std::string_view text) noexcept {
  // FNV-1a, then the finalizer of SplitMix64, without which similar names lie close together.
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  }
  hash = (hash ^ (hash >> 30)) * 0xbf58476d1ce4e5b9;
  hash = (hash ^ (hash >> 27)) * 0x94d049bb133111eb;
  return hash ^ (hash >> 31);
}

Grid::Grid(std::string_view identity, nanoseconds interval) noexcept
    : interval_(interval), hash_(stableHash(identity)) {}

Grid::TimePoint Grid::atOrAfter(TimePoint time) const noexcept {
  const nanoseconds since =
      std::chrono::duration_cast<nanoseconds>(time.time_since_epoch()) - within(hash_, interval_);
  nanoseconds over = since % interval_;
  if (over < nanoseconds::zero()) {
    over += interval_;
  }
  return over == nanoseconds::zero() ? time : time + (interval_ - over);
}

Grid::TimePoint Grid::first(TimePoint now) const noexcept {
  const TimePoint onGrid = atOrAfter(now);
  return interval_ <= kFirstRounds ? onGrid : std::min(onGrid, now + within(hash_, kFirstRounds));
}

}  // namespace Monitor

#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

namespace Monitor {

/// The same for the same text in every process and build, and evenly spread.
[[nodiscard]] std::uint64_t stableHash(std::string_view text) noexcept;

/// The points in time at which one probe's rounds begin: one an interval, at a place within it that
/// follows from the probe's identity. So many probes spread evenly, and each keeps its place when
/// others come and go and when the prober starts again.
class Grid {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// `interval` is above 0.
  Grid(std::string_view identity, std::chrono::nanoseconds interval) noexcept;

  /// The first of them at or after `time`.
  [[nodiscard]] TimePoint atOrAfter(TimePoint time) const noexcept;

  /// When the first round begins: on the grid, or sooner when that is long to wait for.
  [[nodiscard]] TimePoint first(TimePoint now) const noexcept;
  /// The one that follows a round begun at `due`, with at least half an interval in between.
  [[nodiscard]] TimePoint next(TimePoint due) const noexcept {
    return atOrAfter(due + interval_ / 2);
  }

  [[nodiscard]] std::chrono::nanoseconds interval() const noexcept { return interval_; }

 private:
  std::chrono::nanoseconds interval_;
  std::uint64_t hash_;
};

}  // namespace Monitor

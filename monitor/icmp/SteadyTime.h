#pragma once

#include <time.h>

#include <chrono>

#include "monitor/Prober.h"

namespace Monitor::Icmp {

/// Turns the kernel's packet times, which are of the wall clock, into the steady time that all else
/// is measured in. A step of the wall clock between the two ends of a round trip thus changes
/// nothing, as long as look() is called between the step and the second end.
class SteadyTime {
 public:
  SteadyTime() { look(); }

  /// Compares the two clocks. A comparison in which this thread was interrupted is not used.
  void look();

  /// When it was `wall`, as of the last look; never later than now().
  [[nodiscard]] Clock::time_point of(const timespec& wall) const;
  /// The time of the last look.
  [[nodiscard]] Clock::time_point now() const { return now_; }

 private:
  std::chrono::nanoseconds behind_{};  ///< How far the steady clock's count is behind the wall's.
  Clock::time_point now_;
};

}  // namespace Monitor::Icmp

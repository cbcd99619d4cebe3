#include "monitor/icmp/SteadyTime.h"

#include <algorithm>

namespace Monitor::Icmp {

namespace {

std::chrono::nanoseconds count(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

void SteadyTime::look() {
  constexpr int kAttempts = 4;
  constexpr std::chrono::microseconds kTight{5};
  bool first = behind_ == std::chrono::nanoseconds::zero();
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const Clock::time_point before = Clock::now();
    timespec wall{};
    clock_gettime(CLOCK_REALTIME, &wall);
    now_ = Clock::now();
    const Clock::duration width = now_ - before;
    if (width <= kTight || first) {
      behind_ = count(wall) - (before.time_since_epoch() + width / 2);
    }
    if (width <= kTight) {
      return;
    }
    first = false;
  }
}

Clock::time_point SteadyTime::of(const timespec& wall) const {
  const auto since = std::chrono::duration_cast<Clock::duration>(count(wall) - behind_);
  return std::min(Clock::time_point(since), now_);
}

}  // namespace Monitor::Icmp

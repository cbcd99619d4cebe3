#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "monitor/Prober.h"

namespace Monitor::Icmp {

/// Bounds a rate: in any time t at most depth + rate * t are let through (a token bucket).
class Pacer {
 public:
  /// Both above 0.
  Pacer(double perSecond, std::size_t depth)
      : perSecond_(perSecond), depth_(static_cast<double>(depth)), allowed_(depth_) {}

  /// How many may go now.
  [[nodiscard]] std::size_t allowed(Clock::time_point now) {
    const std::chrono::duration<double> since = now - updated_;
    if (since.count() > 0) {
      allowed_ = std::min(depth_, allowed_ + since.count() * perSecond_);
      updated_ = now;
    }
    return static_cast<std::size_t>(allowed_);
  }

  /// Precondition: allowed() said at least so many.
  void spend(std::size_t count) { allowed_ -= static_cast<double>(count); }

 private:
  double perSecond_;
  double depth_;
  double allowed_;
  Clock::time_point updated_;
};

}  // namespace Monitor::Icmp

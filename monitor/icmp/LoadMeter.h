#pragma once

#include <chrono>
#include <cstddef>

#include "monitor/Prober.h"

namespace Monitor::Icmp {

/// Tells whether so little is sent that the kernel's times of sending can be afforded.
///
/// They make a packet about a sixth dearer. Below the limit that is no noticeable part of a core,
/// and the accuracy is had; above it, where CPU time is what decides, a packet's share of the time
/// of the system call has to do.
class LoadMeter {
 public:
  void sent(std::size_t packets) { packets_ += packets; }

  [[nodiscard]] bool light() const { return light_; }

  /// True when light() has changed. It does at most once a period, and not back and forth while the
  /// rate stays where it is.
  bool update(Clock::time_point now) {
    const std::chrono::duration<double> elapsed = now - since_;
    if (elapsed < kPeriod) {
      return false;
    }
    const double rate = static_cast<double>(packets_) / elapsed.count();
    since_ = now;
    packets_ = 0;
    const bool before = light_;
    light_ = rate < (light_ ? kHeavyFrom : kLightBelow);
    return light_ != before;
  }

 private:
  static constexpr std::chrono::milliseconds kPeriod{250};
  static constexpr double kHeavyFrom = 20'000;  ///< Packets a second.
  static constexpr double kLightBelow = 15'000;

  Clock::time_point since_;
  std::size_t packets_ = 0;
  bool light_ = true;
};

}  // namespace Monitor::Icmp

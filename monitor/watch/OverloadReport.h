#pragma once

#include "monitor/log/Log.h"
#include "monitor/loop/Event.h"
#include "monitor/schedule/Schedule.h"

namespace Monitor {

/// Counts the rounds that came to nothing since the prober could not keep up, be it that they were
/// left out or that they ended without a verdict, and says so in the log at most once a minute.
class OverloadReport {
 public:
  OverloadReport(const Loop& loop, const Schedule& schedule, Log& log);

  /// A round that had begun.
  void roundLost() noexcept { ++lost_; }
  /// All so far.
  [[nodiscard]] std::uint64_t rounds() const noexcept { return schedule_.overloaded() + lost_; }

  /// Looks whether there is something to say, and says it if it is time to.
  void look();

 private:
  Loop loop_;
  const Schedule& schedule_;
  Log& log_;
  std::uint64_t lost_ = 0;
  std::uint64_t said_ = 0;
  Clock::time_point quietUntil_;
  Timer timer_;
};

}  // namespace Monitor

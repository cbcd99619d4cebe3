#pragma once

#include "monitor/log/Log.h"
#include "monitor/loop/Event.h"
#include "monitor/schedule/Schedule.h"

namespace Monitor {

/// Says in the log, at most once a minute, that rounds were left out since the prober could not
/// keep up, and how many.
class OverloadReport {
 public:
  OverloadReport(const Loop& loop, const Schedule& schedule, Log& log);

  /// Looks whether there is something to say, and says it if it is time to.
  void look();

 private:
  Loop loop_;
  const Schedule& schedule_;
  Log& log_;
  std::uint64_t said_ = 0;
  Clock::time_point quietUntil_;
  Timer timer_;
};

}  // namespace Monitor

#pragma once

#include <cstdint>
#include <ostream>

#include "Ubo/Scheduler.h"

namespace Yex {

/// How a state machine runs; a plain value that its creator passes on. The defaults leave the
/// choice to the state machine: its own default mode, and the process's shared scheduler.
struct SmControl {
  enum class Mode : std::uint8_t { kDefault = 0, kSynchronous = 1, kAsynchronous = 2 };

  Ubo::Scheduler::Ptr taskScheduler;  ///< Null: the scheduler that findOrCreateScheduler supplies.
  int taskPriority = 0;
  Mode mode = Mode::kDefault;

  friend bool operator==(const SmControl&, const SmControl&) = default;
  /// The mode's number and the priority, joined by ','.
  friend std::ostream& operator<<(std::ostream& out, const SmControl& control) {
    return out << static_cast<unsigned>(control.mode) << ',' << control.taskPriority;
  }
};

}  // namespace Yex

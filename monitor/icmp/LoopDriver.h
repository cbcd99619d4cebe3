#pragma once

#include "monitor/Prober.h"
#include "monitor/icmp/Engine.h"
#include "monitor/loop/Event.h"

namespace Monitor::Icmp {

/// Has the event loop call Engine::work() when it has something to do, at most once a tick.
///
/// What comes in need not be read at once, as the kernel has noted the time: after sending, the
/// answers are left to gather for a moment and are then read together. Only when nothing is to be
/// sent does a reply wake us.
class LoopDriver {
 public:
  /// All outlive it. `readable` is a descriptor that is readable when something came in.
  LoopDriver(const Loop& loop, Engine& engine, int readable);

  /// A round was begun: the engine wants to work soon.
  void wake();

 private:
  void run();
  void schedule(Clock::time_point at);

  const Loop& loop_;
  Engine& engine_;
  Timer timer_;
  Event readable_;
  Clock::time_point worked_;
  bool soon_ = false;  ///< The timer is set for the next tick: it can't be set for earlier.
};

}  // namespace Monitor::Icmp

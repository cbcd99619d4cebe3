#pragma once

#include <functional>

#include "agent/Fd.h"
#include "agent/loop/EventLoop.h"

namespace Agent {

/// The process's signals as events of the loop: SIGINT and SIGTERM end it, SIGHUP replaces the
/// plug-in's agent. Signals never interrupt anything.
class Signals {
 public:
  /// Throws StartError. Before any other thread exists.
  Signals(EventLoop& loop, std::function<void()> onHangUp);

 private:
  void read();

  EventLoop& loop_;
  std::function<void()> onHangUp_;
  Fd fd_;
  EventLoop::Watch watch_;
};

}  // namespace Agent

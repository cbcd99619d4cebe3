#pragma once

#include "monitor/log/Log.h"

namespace Monitor {

/// Has libevent's warnings and errors written to the log, in place of bare lines on standard error,
/// as long as this lives. One at a time: libevent has one place for it.
class LibeventLog {
 public:
  /// `log` outlives it.
  explicit LibeventLog(Log& log);
  LibeventLog(const LibeventLog&) = delete;
  LibeventLog& operator=(const LibeventLog&) = delete;
  ~LibeventLog();
};

}  // namespace Monitor

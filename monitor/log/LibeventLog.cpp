#include "monitor/log/LibeventLog.h"

#include <event2/event.h>
#include <fmt/format.h>

namespace Monitor {

namespace {

/// libevent's function gets no argument of ours.
Log* present = nullptr;

void take(int severity, const char* text) {
  if (severity >= EVENT_LOG_WARN && present != nullptr) {
    present->warning(fmt::format("libevent: {}", text));
  }
}

}  // namespace

LibeventLog::LibeventLog(Log& log) {
  present = &log;
  event_set_log_callback(&take);
}

LibeventLog::~LibeventLog() {
  event_set_log_callback(nullptr);
  present = nullptr;
}

}  // namespace Monitor

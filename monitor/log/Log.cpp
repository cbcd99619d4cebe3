#include "monitor/log/Log.h"

#include <fmt/format.h>
#include <unistd.h>

namespace Monitor {

namespace {

/// Enough for a configuration's worth of news, few enough to be read.
constexpr unsigned kMostLines = 200;
constexpr std::chrono::seconds kWindow{10};

}  // namespace

Log::Log(Severity threshold, std::function<Clock::time_point()> now, Sink sink)
    : threshold_(threshold), now_(std::move(now)), sink_(std::move(sink)), windowEnd_(now_()) {}

void Log::write(Severity severity, std::string_view text) {
  if (severity > threshold_) {
    return;
  }
  const Clock::time_point now = now_();
  if (now >= windowEnd_) {
    if (leftOut_ != 0) {
      emit(Severity::kWarning, fmt::format("{} lines were left out here", leftOut_));
    }
    windowEnd_ = now + kWindow;
    inWindow_ = 0;
    leftOut_ = 0;
  }
  // Errors are few and end up in support requests: they always get through.
  if (inWindow_ >= kMostLines && severity != Severity::kError) {
    ++leftOut_;
    return;
  }
  ++inWindow_;
  emit(severity, text);
}

void Log::emit(Severity severity, std::string_view text) {
  std::string line = fmt::format("<{}>", static_cast<int>(severity));
  for (const char c : text) {
    line += static_cast<unsigned char>(c) < 0x20 || c == '\x7f' ? '?' : c;
  }
  line += '\n';
  sink_(line);
}

Log::Sink standardError() {
  return [](std::string_view line) {
    // A log that can't be written has nowhere to say so.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
  };
}

}  // namespace Monitor

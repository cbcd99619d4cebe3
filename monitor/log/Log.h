#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "monitor/Prober.h"

namespace Monitor {

/// As in syslog(3), which journald understands at the head of a line (sd-daemon(3)).
enum class Severity : std::uint8_t { kError = 3, kWarning = 4, kInfo = 6 };

/// One line an event, each headed by its severity, e.g. "<4>". Nothing that is written here may
/// hold a secret; control characters are replaced, so that no event makes two lines. A flood is
/// cut: what is left out is counted and said.
class Log {
 public:
  using Sink = std::function<void(std::string_view line)>;

  /// Lines that are less severe than `threshold` are dropped. `sink` gets each line whole, with its
  /// line feed.
  Log(Severity threshold, std::function<Clock::time_point()> now, Sink sink);
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void error(std::string_view text) { write(Severity::kError, text); }
  void warning(std::string_view text) { write(Severity::kWarning, text); }
  void info(std::string_view text) { write(Severity::kInfo, text); }

 private:
  void write(Severity severity, std::string_view text);
  void emit(Severity severity, std::string_view text);

  Severity threshold_;
  std::function<Clock::time_point()> now_;
  Sink sink_;
  Clock::time_point windowEnd_;
  unsigned inWindow_ = 0;
  unsigned leftOut_ = 0;
};

/// Writes to standard error.
[[nodiscard]] Log::Sink standardError();

}  // namespace Monitor

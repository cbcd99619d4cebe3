#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Agent {

/// As syslog(3) numbers them.
enum class Severity : int { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6 };

/// The process's log: one line an event, headed by its severity as sd-daemon(3) has it. Whoever
/// writes to it leaves secrets out.
class Log {
 public:
  using Sink = std::function<void(std::string_view line)>;

  /// Lines less severe than `threshold` are dropped.
  Log(Severity threshold, Sink sink) : threshold_(threshold), sink_(std::move(sink)) {}

  /// Control characters are shown as '?', so that an event is one line whatever is in it.
  void write(Severity severity, std::string_view text) const;
  /// A function that writes with that severity. The log outlives it.
  [[nodiscard]] std::function<void(const std::string&)> at(Severity severity) const {
    return [this, severity](const std::string& text) { write(severity, text); };
  }

 private:
  Severity threshold_;
  Sink sink_;
};

/// The log on standard error.
[[nodiscard]] Log standardErrorLog(Severity threshold);

}  // namespace Agent

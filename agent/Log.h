#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Agent {

/// As syslog(3) numbers them.
enum class Severity : int { kError = 3, kWarning = 4, kInfo = 6 };

/// The process's log: one line an event. Whoever writes to it leaves secrets out.
class Log {
 public:
  using Sink = std::function<void(std::string_view line)>;
  /// What a line begins with: the program's name for a reader at a terminal or a file; for the
  /// journal, which knows the program, the severity as sd-daemon(3) has it.
  enum class Head : bool { kName, kSeverity };

  /// Lines less severe than `threshold` are dropped.
  Log(Severity threshold, Head head, Sink sink)
      : threshold_(threshold), head_(head), sink_(std::move(sink)) {}

  /// Control characters are shown as '?', so that an event is one line whatever is in it.
  void write(Severity severity, std::string_view text) const;
  /// A function that writes with that severity. The log outlives it.
  [[nodiscard]] std::function<void(const std::string&)> at(Severity severity) const {
    return [this, severity](const std::string& text) { write(severity, text); };
  }

 private:
  Severity threshold_;
  Head head_;
  Sink sink_;
};

/// The log on standard error; for the journal when that is where standard error leads.
[[nodiscard]] Log standardErrorLog(Severity threshold);

/// Whether the descriptor is what JOURNAL_STREAM (systemd.exec(5)) tells of: DEVICE:INODE. False
/// for null.
[[nodiscard]] bool isJournal(int fd, const char* journalStream);

}  // namespace Agent

#include "agent/Log.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace Agent {

void Log::write(Severity severity, std::string_view text) const {
  if (severity > threshold_) {
    return;
  }
  std::string line = head_ == Head::kSeverity ? fmt::format("<{}>", static_cast<int>(severity))
                                              : std::string("conmon-snmpd: ");
  constexpr unsigned char kFirstPrintable = ' ';
  constexpr char kDelete = '\x7f';
  for (const char c : text) {
    line += static_cast<unsigned char>(c) < kFirstPrintable || c == kDelete ? '?' : c;
  }
  line += '\n';
  sink_(line);
}

Log standardErrorLog(Severity threshold) {
  const bool journal = isJournal(STDERR_FILENO, std::getenv("JOURNAL_STREAM"));
  return {threshold, journal ? Log::Head::kSeverity : Log::Head::kName, [](std::string_view line) {
            // In one call, so that lines of several processes do not mix. A log that cannot be
            // written has nowhere to say so.
            [[maybe_unused]] const ssize_t written =
                ::write(STDERR_FILENO, line.data(), line.size());
          }};
}

bool isJournal(int fd, const char* journalStream) {
  struct stat status {};
  return journalStream != nullptr && fstat(fd, &status) == 0 &&
         journalStream == fmt::format("{}:{}", status.st_dev, status.st_ino);
}

}  // namespace Agent

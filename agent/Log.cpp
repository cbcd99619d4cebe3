#include "agent/Log.h"

#include <fmt/format.h>
#include <unistd.h>

namespace Agent {

void Log::write(Severity severity, std::string_view text) const {
  if (severity > threshold_) {
    return;
  }
  std::string line = fmt::format("<{}>", static_cast<int>(severity));
  constexpr unsigned char kFirstPrintable = ' ';
  constexpr char kDelete = '\x7f';
  for (const char c : text) {
    line += static_cast<unsigned char>(c) < kFirstPrintable || c == kDelete ? '?' : c;
  }
  line += '\n';
  sink_(line);
}

Log standardErrorLog(Severity threshold) {
  return {threshold, [](std::string_view line) {
            // In one call, so that lines of several processes do not mix. A log that cannot be
            // written has nowhere to say so.
            [[maybe_unused]] const ssize_t written =
                ::write(STDERR_FILENO, line.data(), line.size());
          }};
}

}  // namespace Agent

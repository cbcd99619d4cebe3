#include "agent/TraceOutput.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <iterator>

#include "Trace/Trace.h"
#include "agent/StartError.h"

namespace Agent {

namespace {

/// Names that clients chose stand in the texts: what would end the line, or move a terminal, is
/// shown as \xNN, so that nobody can write a line in another's name.
std::string oneLine(const Trace::Line& line) {
  std::string shown = fmt::format("{}:{}: ", line.unit, line.level);
  for (const char c : line.text) {
    const auto code = static_cast<unsigned char>(c);
    constexpr unsigned char kFirstPrintable = 0x20;
    constexpr unsigned char kDelete = 0x7f;
    if (code < kFirstPrintable || code == kDelete) {
      fmt::format_to(std::back_inserter(shown), "\\x{:02x}", code);
    } else {
      shown += c;
    }
  }
  shown += '\n';
  return shown;
}

}  // namespace

TraceOutput::TraceOutput(const TraceLevels& levels, const std::optional<std::string>& file) {
  if (file) {
    file_.reset(std::fopen(file->c_str(), "ae"));
    if (!file_) {
      throw StartError(fmt::format("--trace-file {}: {}", *file, std::strerror(errno)));
    }
    // Whole lines, so that the file can be followed, and ends well when the process does not.
    std::setvbuf(file_.get(), nullptr, _IOLBF, 0);
  }
  Trace::sinkIs([to = file_ ? file_.get() : stderr](const Trace::Line& line) {
    const std::string shown = oneLine(line);
    // A full disk loses lines, but does not end the service.
    std::fwrite(shown.data(), 1, shown.size(), to);
  });
  for (const auto& [unit, level] : levels) {
    Trace::handle(unit).levelIs(level);
  }
}

TraceOutput::~TraceOutput() { Trace::sinkIs({}); }

}  // namespace Agent

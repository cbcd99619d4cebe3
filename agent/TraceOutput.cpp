#include "agent/TraceOutput.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "Trace/Trace.h"
#include "agent/StartError.h"

namespace Agent {

TraceOutput::TraceOutput(const TraceLevels& levels, const std::optional<std::string>& file) {
  if (file) {
    file_.reset(std::fopen(file->c_str(), "ae"));
    if (!file_) {
      throw StartError(fmt::format("--trace-file {}: {}", *file, std::strerror(errno)));
    }
    // Whole lines, so that the file can be followed, and ends well when the process does not.
    std::setvbuf(file_.get(), nullptr, _IOLBF, 0);
    Trace::sinkIs([to = file_.get()](const Trace::Line& line) {
      fmt::print(to, "{}:{}: {}\n", line.unit, line.level, line.text);
    });
  }
  for (const auto& [unit, level] : levels) {
    Trace::handle(unit).levelIs(level);
  }
}

TraceOutput::~TraceOutput() { Trace::sinkIs({}); }

}  // namespace Agent

#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "agent/config/TraceLevels.h"

namespace Agent {

/// Switches the units' traces on and sends their lines to standard error or to a file, to which
/// they are appended. A control character in a text is written as \xNN, so that each trace is one
/// line. What cannot be written is lost. The lines end with this object.
class TraceOutput {
 public:
  /// Throws StartError when the file cannot be opened.
  TraceOutput(const TraceLevels& levels, const std::optional<std::string>& file);
  TraceOutput(const TraceOutput&) = delete;
  TraceOutput& operator=(const TraceOutput&) = delete;
  ~TraceOutput();

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace Agent

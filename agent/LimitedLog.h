#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "agent/loop/EventLoop.h"

namespace Agent {

/// A log that nobody outside can flood: of each window of time the first lines are written, the
/// rest is counted, and the count is written as a line of its own when the window is over.
class LimitedLog final : public Timer {
 public:
  using Write = std::function<void(const std::string&)>;
  using Now = std::function<Clock::time_point()>;

  static constexpr std::chrono::seconds kWindow{5};
  static constexpr unsigned kLinesPerWindow = 10;

  /// `about` says in the line of the count what was withheld: "15 more lines about the feed ...".
  LimitedLog(Write write, std::string about, Now now = &Clock::now);

  void write(const std::string& line);
  /// A function that writes here. The log outlives it.
  [[nodiscard]] Write writer() {
    return [this](const std::string& line) { write(line); };
  }

  /// When the count is due; absent while nothing is withheld.
  std::optional<Clock::time_point> next() override;
  void run() override;

 private:
  Write write_;
  std::string about_;
  Now now_;
  Clock::time_point windowEnds_{};
  unsigned lines_ = 0;
  std::uint64_t withheld_ = 0;
};

}  // namespace Agent

#include "agent/LimitedLog.h"

#include <fmt/format.h>

#include <utility>

namespace Agent {

LimitedLog::LimitedLog(Write write, std::string about, Now now)
    : write_(std::move(write)), about_(std::move(about)), now_(std::move(now)) {}

void LimitedLog::write(const std::string& line) {
  run();
  if (lines_ < kLinesPerWindow) {
    if (lines_ == 0) {
      windowEnds_ = now_() + kWindow;
    }
    ++lines_;
    write_(line);
  } else {
    ++withheld_;
  }
}

std::optional<Clock::time_point> LimitedLog::next() {
  return withheld_ == 0 ? std::nullopt : std::optional(windowEnds_);
}

void LimitedLog::run() {
  if (lines_ == 0 || now_() < windowEnds_) {
    return;
  }
  lines_ = 0;
  if (const std::uint64_t withheld = std::exchange(withheld_, 0); withheld != 0) {
    write_(fmt::format("{} more lines about {} within {} seconds were withheld", withheld, about_,
                       kWindow.count()));
  }
}

}  // namespace Agent

#include "monitor/watch/OverloadReport.h"

#include <fmt/format.h>

namespace Monitor {

namespace {

constexpr std::chrono::seconds kLookEvery{1};
constexpr std::chrono::seconds kQuiet{60};

}  // namespace

OverloadReport::OverloadReport(const Loop& loop, const Schedule& schedule, Log& log)
    : loop_(loop),
      schedule_(schedule),
      log_(log),
      quietUntil_(loop.now()),
      timer_(loop.base, [this] {
        look();
        timer_.set(kLookEvery);
      }) {
  timer_.set(kLookEvery);
}

void OverloadReport::look() {
  const std::uint64_t missed = rounds() - said_;
  if (missed == 0 || loop_.now() < quietUntil_) {
    return;
  }
  said_ += missed;
  quietUntil_ = loop_.now() + kQuiet;
  log_.warning(fmt::format(
      "overloaded: {} rounds could not be held in time; nothing is published for them; longer "
      "intervals or fewer probes would help",
      missed));
}

}  // namespace Monitor

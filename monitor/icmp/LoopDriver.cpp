#include "monitor/icmp/LoopDriver.h"

#include <algorithm>
#include <chrono>
#include <optional>

namespace Monitor::Icmp {

namespace {

/// Most answers on a local network take less.
constexpr std::chrono::milliseconds kGather{4};

}  // namespace

LoopDriver::LoopDriver(const Loop& loop, Engine& engine, int readable)
    : loop_(loop),
      engine_(engine),
      timer_(loop.base, [this] { run(); }),
      readable_(loop.base, readable, EV_READ, [this](short) { run(); }) {}

void LoopDriver::wake() {
  if (!soon_) {
    soon_ = true;
    schedule(worked_ + Engine::kTick);
  }
}

void LoopDriver::run() {
  timer_.cancel();
  readable_.remove();
  soon_ = true;  // a listener that begins a round is provided for below
  const bool sent = engine_.work();
  soon_ = false;
  worked_ = loop_.now();
  std::optional<Clock::time_point> next = engine_.nextWork();
  if (sent) {
    next = std::min(next.value_or(Clock::time_point::max()), worked_ + kGather);
  } else {
    readable_.add();
  }
  if (next) {
    schedule(std::max(*next, worked_ + Engine::kTick));
  }
}

void LoopDriver::schedule(Clock::time_point at) {
  timer_.set(std::max(at - loop_.now(), Clock::duration::zero()));
}

}  // namespace Monitor::Icmp

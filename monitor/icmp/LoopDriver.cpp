#include "monitor/icmp/LoopDriver.h"

#include <event2/event.h>

#include <algorithm>
#include <chrono>
#include <new>

namespace Monitor::Icmp {

namespace {

/// Most answers on a local network take less.
constexpr std::chrono::milliseconds kGather{4};

}  // namespace

LoopDriver::LoopDriver(const Loop& loop, Engine& engine, int readable)
    : loop_(loop), engine_(engine) {
  constexpr auto onEvent = [](evutil_socket_t, short, void* self) {
    static_cast<LoopDriver*>(self)->run();
  };
  timer_ = evtimer_new(loop.base, onEvent, this);
  readable_ = event_new(loop.base, readable, EV_READ, onEvent, this);
  if (timer_ == nullptr || readable_ == nullptr) {
    throw std::bad_alloc();
  }
}

LoopDriver::~LoopDriver() {
  event_free(timer_);
  event_free(readable_);
}

void LoopDriver::wake() {
  if (!soon_) {
    soon_ = true;
    schedule(worked_ + Engine::kTick);
  }
}

void LoopDriver::run() {
  event_del(timer_);
  event_del(readable_);
  soon_ = true;  // a listener that begins a round is provided for below
  const bool sent = engine_.work();
  soon_ = false;
  worked_ = loop_.now();
  std::optional<Clock::time_point> next = engine_.nextWork();
  if (sent) {
    next = std::min(next.value_or(Clock::time_point::max()), worked_ + kGather);
  } else {
    event_add(readable_, nullptr);
  }
  if (next) {
    schedule(std::max(*next, worked_ + Engine::kTick));
  }
}

void LoopDriver::schedule(Clock::time_point at) {
  const auto wait = std::chrono::ceil<std::chrono::microseconds>(
      std::max(at - loop_.now(), Clock::duration::zero()));
  timeval time{};
  time.tv_sec = wait.count() / 1'000'000;
  time.tv_usec = wait.count() % 1'000'000;
  event_add(timer_, &time);
}

}  // namespace Monitor::Icmp

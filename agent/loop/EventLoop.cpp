#include "agent/loop/EventLoop.h"

#include <algorithm>
#include <limits>

namespace Agent {

EventLoop::Watch::Watch(EventLoop& loop, int fd, OnReady onReady)
    : entry_(loop.watches_.insert(loop.watches_.end(), Entry{fd, 0, true, std::move(onReady)})) {}

EventLoop::Watch::~Watch() {
  // The entry itself goes at the end of the turn: it may be the one whose callback is running.
  entry_->alive = false;
}

void EventLoop::Watch::interestIs(bool readable, bool writable) noexcept {
  entry_->events = static_cast<short>((readable ? POLLIN : 0) | (writable ? POLLOUT : 0));
}

void EventLoop::run() {
  running_ = true;
  while (running_) {
    turn(std::nullopt);
  }
}

bool EventLoop::hasWork() const {
  return std::ranges::any_of(work_, [](Work* work) { return work->hasWork(); });
}

int EventLoop::timeout(std::optional<std::chrono::milliseconds> longest) {
  if (hasWork()) {
    return 0;
  }
  std::optional<Clock::time_point> next;
  if (source_ != nullptr) {
    next = source_->next();
  }
  for (Timer* timer : timers_) {
    const auto due = timer->next();
    if (due && (!next || *due < *next)) {
      next = due;
    }
  }
  if (next) {
    // Rounded up: waking a moment before the time would only mean another turn.
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now());
    longest = std::min(longest.value_or(wait), wait);
  }
  if (!longest) {
    return -1;
  }
  constexpr auto kLongest = std::chrono::milliseconds(std::numeric_limits<int>::max());
  return static_cast<int>(
      std::clamp(*longest, std::chrono::milliseconds::zero(), kLongest).count());
}

void EventLoop::turn(std::optional<std::chrono::milliseconds> longest) {
  std::erase_if(watches_, [](const Watch::Entry& entry) { return !entry.alive; });
  fds_.clear();
  polled_.clear();
  if (source_ != nullptr) {
    source_->prepare(fds_);
  }
  const std::size_t own = fds_.size();
  for (Watch::Entry& entry : watches_) {
    // Without interest there is nobody to act on the hang-up that poll would tell at every turn.
    if (entry.events != 0) {
      fds_.push_back({entry.fd, entry.events, 0});
      polled_.push_back(&entry);
    }
  }
  // An interrupted or failed poll says nothing of any descriptor; the next turn asks again.
  if (poll(fds_.data(), fds_.size(), timeout(longest)) < 0) {
    for (pollfd& fd : fds_) {
      fd.revents = 0;
    }
  }
  const bool requested =
      source_ != nullptr && source_->dispatch(std::span<const pollfd>(fds_).first(own));
  dispatchWatches(own);
  runTimers();
  if (requested && ++requestTurns_ < kRequestTurns) {
    return;
  }
  requestTurns_ = 0;
  runSlice();
}

void EventLoop::dispatchWatches(std::size_t first) {
  constexpr short kTrouble = POLLERR | POLLHUP | POLLNVAL;
  for (std::size_t i = 0; i < polled_.size(); ++i) {
    const short events = fds_[first + i].revents;
    if (events != 0 && polled_[i]->alive) {
      const bool trouble = (events & kTrouble) != 0;
      polled_[i]->onReady({(events & POLLIN) != 0 || trouble, (events & POLLOUT) != 0 || trouble});
    }
  }
}

void EventLoop::runTimers() {
  if (source_ != nullptr) {
    source_->run();
  }
  const Clock::time_point now = Clock::now();
  for (Timer* timer : timers_) {
    const auto due = timer->next();
    if (due && *due <= now) {
      timer->run();
    }
  }
}

void EventLoop::runSlice() {
  for (std::size_t i = 0; i < work_.size(); ++i) {
    Work& work = *work_[nextWork_];
    nextWork_ = (nextWork_ + 1) % work_.size();
    if (work.hasWork()) {
      yield_.sliceBegins();
      work.work(yield_);
      return;
    }
  }
}

}  // namespace Agent

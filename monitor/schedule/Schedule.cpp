#include "monitor/schedule/Schedule.h"

namespace Monitor {

Schedule::Place::Place(Schedule& schedule, std::string_view identity,
                       std::chrono::nanoseconds interval, std::function<void()> startRound,
                       std::chrono::nanoseconds slack)
    : schedule_(schedule),
      grid_(identity, interval),
      startRound_(std::move(startRound)),
      slack_(slack),
      number_(schedule.places_++) {
  dueIs(grid_.first(schedule.now_()));
  schedule_.enqueue(*this);
}

Schedule::Place::~Place() { schedule_.queue_.erase(this); }

void Schedule::Place::dueIs(TimePoint due) noexcept {
  due_ = begin_ = due;
  if (slack_ > slack_.zero()) {
    // Places of equal slack meet at its multiples.
    const auto over = due.time_since_epoch() % slack_;
    begin_ += over == over.zero() ? over : slack_ - over;
  }
}

void Schedule::Place::finished() {
  running_ = false;
  if (waiting_) {
    waiting_ = false;
    schedule_.enqueue(*this);
  }
}

void Schedule::enqueue(Place& place) {
  queue_.insert(&place);
  wakeUp();
}

void Schedule::wakeUp() {
  if (queue_.empty()) {
    return;
  }
  const TimePoint begin = (*queue_.begin())->begin_;
  if (wakingAt_ != begin) {
    wakingAt_ = begin;
    wakeAt_(begin);
  }
}

void Schedule::run() {
  wakingAt_.reset();
  const TimePoint now = now_();
  for (unsigned i = 0; i < kMostAtOnce && !queue_.empty(); ++i) {
    Place& place = **queue_.begin();
    if (place.begin_ > now) {
      break;
    }
    auto node = queue_.extract(queue_.begin());
    if (place.running_) {
      place.waiting_ = true;
      continue;
    }
    TimePoint next = place.grid_.next(place.due_);
    if (next <= now) {
      const auto missed = (now - next) / place.grid_.interval() + 1;
      overloaded_ += static_cast<std::uint64_t>(missed);
      next += missed * place.grid_.interval();
    }
    place.dueIs(next);
    place.running_ = true;
    queue_.insert(std::move(node));
    ++started_;
    place.startRound_();
  }
  wakeUp();
}

}  // namespace Monitor

#include "monitor/schedule/Schedule.h"

namespace Monitor {

Schedule::Place::Place(Schedule& schedule, std::string_view identity,
                       std::chrono::nanoseconds interval, std::function<void()> startRound)
    : schedule_(schedule),
      grid_(identity, interval),
      startRound_(std::move(startRound)),
      due_(grid_.first(schedule.now_())),
      number_(schedule.places_++) {
  schedule_.enqueue(*this);
}

Schedule::Place::~Place() { schedule_.queue_.erase(this); }

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
  const TimePoint due = (*queue_.begin())->due_;
  if (wakingAt_ != due) {
    wakingAt_ = due;
    wakeAt_(due);
  }
}

void Schedule::run() {
  wakingAt_.reset();
  const TimePoint now = now_();
  for (unsigned i = 0; i < kMostAtOnce && !queue_.empty(); ++i) {
    Place& place = **queue_.begin();
    if (place.due_ > now) {
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
    place.due_ = next;
    place.running_ = true;
    queue_.insert(std::move(node));
    ++started_;
    place.startRound_();
  }
  wakeUp();
}

}  // namespace Monitor

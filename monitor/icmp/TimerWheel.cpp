#include "monitor/icmp/TimerWheel.h"

#include <algorithm>

namespace Monitor::Icmp {

void TimerWheel::set(Id id, Clock::time_point due) {
  if (id >= entries_.size()) {
    entries_.resize(std::size_t{id} + 1);
  }
  cancel(id);
  Entry& entry = entries_[id];
  const std::chrono::nanoseconds since = due.time_since_epoch();
  const std::int64_t up = (since + tick_ - std::chrono::nanoseconds(1)) / tick_;
  entry.tick = std::max(up, current_ + 1);
  Id& head = heads_[bucketOf(entry.tick)];
  entry.before = kNone;
  entry.behind = head;
  if (head != kNone) {
    entries_[head].before = id;
  }
  head = id;
  entry.place = Place::kBucket;
  ++linked_;
}

void TimerWheel::cancel(Id id) {
  if (id >= entries_.size()) {
    return;
  }
  if (entries_[id].place == Place::kBucket) {
    unlink(id);
  }
  entries_[id].place = Place::kNowhere;
}

void TimerWheel::unlink(Id id) {
  const Entry& entry = entries_[id];
  if (entry.before == kNone) {
    heads_[bucketOf(entry.tick)] = entry.behind;
  } else {
    entries_[entry.before].behind = entry.behind;
  }
  if (entry.behind != kNone) {
    entries_[entry.behind].before = entry.before;
  }
  --linked_;
}

void TimerWheel::collect(Clock::time_point now) {
  firing_.clear();
  const std::int64_t upTo = now.time_since_epoch() / tick_;
  // After a long pause every bucket is looked at once, not once a round missed.
  const std::int64_t last = std::min(upTo, current_ + static_cast<std::int64_t>(kBuckets));
  for (std::int64_t tick = current_ + 1; tick <= last; ++tick) {
    collectBucket(bucketOf(tick), upTo);
  }
  current_ = std::max(current_, upTo);
}

void TimerWheel::collectBucket(std::size_t bucket, std::int64_t upTo) {
  for (Id id = heads_[bucket]; id != kNone;) {
    const Id behind = entries_[id].behind;
    if (entries_[id].tick <= upTo) {
      unlink(id);
      entries_[id].place = Place::kFiring;
      firing_.push_back(id);
    }
    id = behind;
  }
}

std::optional<Clock::time_point> TimerWheel::next() const {
  if (linked_ == 0) {
    return std::nullopt;
  }
  // A bucket may hold timers of later rounds only: then this is earlier than need be, not wrong.
  std::int64_t tick = current_ + 1;
  while (heads_[bucketOf(tick)] == kNone) {
    ++tick;
  }
  return Clock::time_point(std::chrono::duration_cast<Clock::duration>(tick_ * tick));
}

}  // namespace Monitor::Icmp

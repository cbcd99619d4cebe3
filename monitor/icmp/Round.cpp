#include "monitor/icmp/Round.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Monitor::Icmp {

void Round::begin(std::uint64_t token, std::uint16_t firstSequence, std::uint16_t requests) {
  token_ = token;
  firstSequence_ = firstSequence;
  requests_ = requests;
  resolved_ = furthest_ = 0;
  ended_ = false;
  samples_.clear();
}

Echo Round::nextRequest(std::uint32_t slot, std::uint16_t identifier) const {
  return {identifier, static_cast<std::uint16_t>(firstSequence_ + sent()), {token_, slot, sent()}};
}

void Round::requestSent(Clock::time_point at) { samples_.push_back({at, at, State::kWaiting}); }

void Round::requestUnsendable() {
  samples_.push_back({{}, {}, State::kRefused});
  ++resolved_;
}

bool Round::isMine(const Echo& echo) const {
  return echo.mark.token == token_ && echo.mark.index < sent() &&
         echo.sequence == static_cast<std::uint16_t>(firstSequence_ + echo.mark.index);
}

bool Round::requestRefused(const Echo& echo) {
  if (ended_ || !isMine(echo) || samples_[echo.mark.index].state != State::kWaiting) {
    return false;
  }
  samples_[echo.mark.index].state = State::kRefused;
  ++resolved_;
  return true;
}

void Round::stampSent(const Echo& echo, Clock::time_point at) {
  if (isMine(echo)) {
    samples_[echo.mark.index].sent = at;
  }
}

Round::Match Round::answer(const Echo& echo, Clock::time_point at) {
  if (!isMine(echo)) {
    return Match::kForeign;
  }
  const std::uint32_t index = echo.mark.index;
  Sample& sample = samples_[index];
  if (sample.state == State::kAnswered || sample.state == State::kAnsweredLate) {
    return Match::kDuplicate;
  }
  if (ended_ || sample.state == State::kRefused) {
    sample.state = State::kAnsweredLate;
    return Match::kLate;
  }
  sample.state = State::kAnswered;
  sample.answered = at;
  ++resolved_;
  const bool reordered = index < furthest_;
  furthest_ = std::max(furthest_, index);
  return reordered ? Match::kReordered : Match::kAnswer;
}

Summary Round::summarize(std::chrono::nanoseconds timeout) const {
  Summary summary;
  summary.sent = sent();
  Milliseconds total{}, differences{};
  std::optional<Milliseconds> before;
  for (const Sample& sample : samples_) {
    if (sample.state != State::kAnswered) {
      continue;
    }
    const Clock::duration trip = std::max(sample.answered - sample.sent, Clock::duration::zero());
    if (trip > timeout) {
      ++summary.late;
      continue;
    }
    ++summary.answered;
    total += trip;
    if (before) {
      differences += Milliseconds(std::abs((Milliseconds(trip) - *before).count()));
    }
    before = trip;
  }
  if (summary.answered > 0) {
    summary.mean = total / summary.answered;
  }
  if (summary.answered > 1) {
    summary.jitter = differences / (summary.answered - 1);
  }
  if (summary.sent > 0) {
    summary.lossPercent = 100.0 * (summary.sent - summary.answered) / summary.sent;
  }
  return summary;
}

}  // namespace Monitor::Icmp

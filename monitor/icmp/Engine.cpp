#include "monitor/icmp/Engine.h"

#include <algorithm>
#include <utility>

namespace Monitor::Icmp {

Engine::Engine(Network& network, std::function<Clock::time_point()> now,
               std::function<std::uint64_t()> random, const Settings& settings)
    : network_(network),
      now_(std::move(now)),
      random_(std::move(random)),
      settings_(settings),
      // What two ticks may send: a late wake-up loses no rate, and no device sees a longer burst.
      pacer_(settings.packetsPerSecond,
             static_cast<std::size_t>(settings.packetsPerSecond *
                                      std::chrono::duration<double>(2 * kTick).count()) +
                 1) {}

const std::shared_ptr<Channel>& Engine::channelOf(const Binding& binding, int family) {
  const auto known = std::find_if(
      channels_.begin(), channels_.end(),
      [&](const std::shared_ptr<Channel>& channel) { return channel->isFor(binding, family); });
  if (known != channels_.end()) {
    return *known;
  }
  ChannelListener& listener = *this;
  return channels_.emplace_back(std::make_shared<Channel>(network_, listener, binding, family));
}

Engine::TargetId Engine::add(const Binding& binding, const Target& target,
                             RoundListener& listener) {
  if (free_.empty()) {
    free_.push_back(static_cast<TargetId>(slots_.size()));
    slots_.emplace_back();
  }
  const TargetId id = free_.back();
  free_.pop_back();
  Slot& slot = slots_[id];
  slot.phase = Phase::kIdle;
  slot.round = slot.previous = Round();
  slot.target = target;
  slot.to = target.address.socketAddress(0);
  slot.channel = channelOf(binding, target.address.family());
  slot.listener = &listener;
  return id;
}

void Engine::remove(TargetId id) {
  cancel(id);
  Slot& slot = slots_[id];
  slot.phase = Phase::kFree;
  const std::shared_ptr<Channel> channel = std::move(slot.channel);
  if (channel.use_count() == 2) {  // ours here and that of channels_
    counters_.overflowed += channel->overflowed();
    std::erase(channels_, channel);
  }
  free_.push_back(id);
}

void Engine::begin(TargetId id) {
  Slot& slot = slots_[id];
  const Clock::time_point now = now_();
  std::swap(slot.round, slot.previous);
  slot.round.begin(random_(), slot.nextSequence, slot.target.requests);
  slot.nextSequence = static_cast<std::uint16_t>(slot.nextSequence + slot.target.requests);
  slot.begun = slot.due = now;
  slot.text.clear();
  if (auto failure = slot.channel->makeReady(now, load_.light())) {
    fail(id, std::move(*failure));
    return;
  }
  slot.opening = slot.channel->opening();
  queue(id);
}

void Engine::cancel(TargetId id) {
  Slot& slot = slots_[id];
  ++slot.ticket;
  wheel_.cancel(id);
  slot.round.end();
  slot.phase = Phase::kIdle;
}

void Engine::end(TargetId id, RoundResult::Verdict verdict) {
  cancel(id);
  slots_[id].phase = Phase::kEnded;
  ended_.push_back({waiting(id), verdict});
}

void Engine::fail(TargetId id, std::string text) {
  slots_[id].text = std::move(text);
  end(id, RoundResult::Verdict::kFailed);
}

void Engine::queue(TargetId id) {
  slots_[id].phase = Phase::kQueued;
  slots_[id].channel->queue.push_back(waiting(id));
}

void Engine::proceed(TargetId id, Clock::time_point at) {
  Slot& slot = slots_[id];
  if (slot.round.sent() < slot.round.requests()) {
    // In time, it keeps the beat; too late, it keeps the distance.
    slot.due = std::max(slot.due, at - kTick) + slot.target.gap;
    slot.phase = Phase::kPausing;
    wheel_.set(id, slot.due);
  } else if (slot.round.resolved()) {
    end(id, RoundResult::Verdict::kMeasured);
  } else {
    slot.phase = Phase::kListening;
    wheel_.set(id, at + slot.target.timeout);
  }
}

bool Engine::work() {
  const Clock::time_point now = now_();
  const bool allRead = network_.receive();
  if (load_.update(now)) {
    for (const auto& channel : channels_) {
      if (PacketIo* const io = channel->io()) {
        io->stampTransmissions(load_.light());
      }
    }
  }
  wheel_.advance(now, [&](TargetId id) { timerFired(id, allRead); });
  const std::size_t sent = send();
  deliver();
  return sent > 0;
}

void Engine::timerFired(TargetId id, bool allRead) {
  if (slots_[id].phase == Phase::kPausing) {
    queue(id);
  } else if (allRead) {
    end(id, RoundResult::Verdict::kMeasured);
  } else {
    wheel_.set(id, now_());  // the answer may be among what is still to be read
  }
}

std::optional<Clock::time_point> Engine::nextWork() const {
  const bool atOnce =
      !ended_.empty() || std::any_of(channels_.begin(), channels_.end(),
                                     [](const auto& channel) { return !channel->queue.empty(); });
  return atOnce ? now_() : wheel_.next();
}

void Engine::deliver() {
  for (const Ended& ended : std::exchange(ended_, {})) {
    if (stillWaits(ended.who, Phase::kEnded)) {
      Slot& slot = slots_[ended.who.slot];
      slot.phase = Phase::kIdle;
      const RoundResult result = resultOf(slot, ended.verdict);
      slot.listener->roundEnded(result);
    }
  }
}

RoundResult Engine::resultOf(Slot& slot, RoundResult::Verdict verdict) {
  using Verdict = RoundResult::Verdict;
  RoundResult result{verdict, {}, std::move(slot.text)};
  if (verdict == Verdict::kMeasured) {
    result.summary = slot.round.summarize(slot.target.timeout);
    counters_.late += result.summary.late;
    counters_.answered -= result.summary.late;
    if (slot.channel->opening() != slot.opening || slot.channel->io() == nullptr) {
      result.verdict = Verdict::kFailed;
      result.text = "the interface or namespace changed during the round";
    } else if (result.summary.answered < result.summary.sent &&
               slot.channel->overflowedSince(slot.begun, now_())) {
      result.verdict = Verdict::kOverloaded;
      result.text = "replies may have been dropped by the full socket";
    }
  }
  if (result.verdict == Verdict::kMeasured) {
    counters_.lost += result.summary.sent - result.summary.answered;
  }
  counters_.overloaded += result.verdict == Verdict::kOverloaded ? 1 : 0;
  counters_.failed += result.verdict == Verdict::kFailed ? 1 : 0;
  return result;
}

Engine::Slot* Engine::claimed(const Channel& channel, const Echo& echo) {
  if (echo.mark.slot >= slots_.size()) {
    return nullptr;
  }
  Slot& slot = slots_[echo.mark.slot];
  return slot.channel.get() == &channel ? &slot : nullptr;
}

void Engine::replied(const Channel& channel, const Echo& echo, const IpAddress& from,
                     Clock::time_point at) {
  Slot* const slot = claimed(channel, echo);
  if (slot == nullptr || slot->target.address != from) {
    ++counters_.foreign;
    return;
  }
  Round& round = echo.mark.token == slot->round.token() ? slot->round : slot->previous;
  switch (round.answer(echo, at)) {
    case Round::Match::kReordered:
      ++counters_.reordered;
      [[fallthrough]];
    case Round::Match::kAnswer:
      ++counters_.answered;
      if (round.resolved()) {
        end(echo.mark.slot, RoundResult::Verdict::kMeasured);
      }
      break;
    case Round::Match::kDuplicate:
      ++counters_.duplicate;
      break;
    case Round::Match::kLate:
      ++counters_.late;
      break;
    case Round::Match::kForeign:
      ++counters_.foreign;
      break;
  }
}

void Engine::transmitted(const Channel& channel, const Echo& echo, Clock::time_point at) {
  if (Slot* const slot = claimed(channel, echo)) {
    slot->round.stampSent(echo, at);
  }
}

void Engine::refused(const Channel& channel, const Echo& echo, const std::string& text) {
  Slot* const slot = claimed(channel, echo);
  if (slot == nullptr || !slot->round.requestRefused(echo)) {
    return;
  }
  ++counters_.refused;
  slot->text = text;
  if (slot->round.resolved()) {
    end(echo.mark.slot, RoundResult::Verdict::kMeasured);
  }
}

Counters Engine::counters() const {
  Counters counters = counters_;
  for (const auto& channel : channels_) {
    counters.overflowed += channel->overflowed();
  }
  return counters;
}

}  // namespace Monitor::Icmp

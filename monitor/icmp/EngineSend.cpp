// The engine's way out: from the channels' queues, past the pacer, in batches.
#include <algorithm>
#include <cstring>
#include <utility>

#include "monitor/icmp/Engine.h"

namespace Monitor::Icmp {

namespace {

// With the kernel's times of sending a batch may be long. Without them a packet's time is its share
// of the call's: the longer the batch, the more can come in between and make that wrong. Eight at
// once have most of what there is to save, a tenth of a packet's CPU time.
constexpr std::size_t kStampedBatch = PacketIo::kMostAtOnce;
constexpr std::size_t kUnstampedBatch = 8;

// On a loopback or a fast network the answers are there at once: reading in between keeps them from
// filling a socket of the default size.
constexpr std::size_t kReadAfter = 128;

}  // namespace

std::size_t Engine::send() {
  std::size_t sent = 0;
  std::size_t unread = 0;
  std::size_t allowed = pacer_.allowed(now_());
  ++firstChannel_;
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    Channel& channel = *channels_[(firstChannel_ + i) % channels_.size()];
    for (bool more = true; more && allowed > 0 && !channel.queue.empty();) {
      const std::size_t batch = load_.light() ? kStampedBatch : kUnstampedBatch;
      const std::size_t went = sendBatch(channel, std::min(allowed, batch), more);
      allowed -= went;
      pacer_.spend(went);
      sent += went;
      unread += went;
      if (unread >= kReadAfter) {
        network_.receive();
        unread = 0;
      }
    }
  }
  load_.sent(sent);
  counters_.sent += sent;
  return sent;
}

std::size_t Engine::sendBatch(Channel& channel, std::size_t most, bool& more) {
  if (channel.io() == nullptr) {
    failQueue(channel, "the socket is gone");
    more = false;
    return 0;
  }
  takeDue(channel, most);
  if (batch_.empty()) {
    return 0;
  }
  const Clock::time_point at = now_();
  const Sent sent = channel.io()->send(batch_);
  const Clock::duration took = now_() - at;
  const auto share = static_cast<Clock::rep>(std::max<std::size_t>(sent.count, 1));
  for (std::size_t i = 0; i < sent.count; ++i) {
    slots_[batchOf_[i]].round.requestSent(at + took * static_cast<Clock::rep>(i) / share);
    proceed(batchOf_[i], at);
  }
  if (sent.stop != Sent::Stop::kNone) {
    stopped(channel, sent);
    more = sent.stop == Sent::Stop::kUnreachable;
  }
  return sent.count;
}

void Engine::takeDue(Channel& channel, std::size_t most) {
  batch_.clear();
  batchOf_.clear();
  const Clock::time_point latest = now_() - settings_.latestSend;
  while (!channel.queue.empty() && batch_.size() < most) {
    const Channel::Waiting who = channel.queue.front();
    channel.queue.pop_front();
    if (!stillWaits(who, Phase::kQueued)) {
      continue;
    }
    Slot& slot = slots_[who.slot];
    if (slot.due < latest) {
      slot.text = "requests could not be sent in time";
      end(who.slot, RoundResult::Verdict::kOverloaded);
      continue;
    }
    const Echo echo = slot.round.nextRequest(who.slot, channel.io()->identifier());
    batch_.push_back({&slot.to, writeRequest(channel.io()->framing(), echo)});
    batchOf_.push_back(who.slot);
  }
}

void Engine::stopped(Channel& channel, const Sent& sent) {
  std::size_t behind = sent.count;
  if (sent.stop == Sent::Stop::kUnreachable) {
    const TargetId id = batchOf_[behind++];
    ++counters_.unsendable;
    slots_[id].text = std::strerror(sent.error);
    slots_[id].round.requestUnsendable();
    proceed(id, now_());
  }
  for (std::size_t i = batchOf_.size(); i-- > behind;) {
    channel.queue.push_front(waiting(batchOf_[i]));
  }
  if (sent.stop == Sent::Stop::kBusy) {
    ++counters_.busy;
  } else if (sent.stop == Sent::Stop::kBroken) {
    failQueue(channel, std::strerror(sent.error));
    channel.close();
  }
}

void Engine::failQueue(Channel& channel, const std::string& text) {
  for (const Channel::Waiting& who : std::exchange(channel.queue, {})) {
    if (stillWaits(who, Phase::kQueued)) {
      fail(who.slot, text);
    }
  }
}

}  // namespace Monitor::Icmp

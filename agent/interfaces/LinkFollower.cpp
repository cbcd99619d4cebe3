#include "agent/interfaces/LinkFollower.h"

#include <cerrno>

namespace Agent {

int LinkFollower::run(Clock::time_point now) {
  if (listing_ || !due_ || *due_ > now) {
    return 0;
  }
  due_.reset();
  listing_ = true;
  spoiled_ = false;
  // What nobody asked for has the number 0.
  sequence_ = sequence_ + 1 == 0 ? 1 : sequence_ + 1;
  return channel_.send(makeLinkDumpRequest(sequence_));
}

int LinkFollower::receive(Clock::time_point now) {
  const LinkChannel::Received received = channel_.receive();
  if (const auto* failure = std::get_if<LinkChannel::Failure>(&received)) {
    return failure->error;
  }
  if (std::holds_alternative<LinkChannel::Overrun>(received)) {
    lost(now);
    return 0;
  }
  const auto* datagram = std::get_if<std::span<const std::byte>>(&received);
  if (datagram == nullptr) {
    return 0;
  }
  const auto messages = parseRtDatagram(*datagram);
  if (!messages) {
    // The end of a list may have been in it, so waiting for more is in vain.
    return EBADMSG;
  }
  for (const RtMessage& message : *messages) {
    if (const int error = take(message, now); error != 0) {
      return error;
    }
  }
  return 0;
}

int LinkFollower::take(const RtMessage& message, Clock::time_point now) {
  const bool ofList = listing_ && message.sequence == sequence_;
  spoiled_ = spoiled_ || (ofList && message.interrupted);
  if (const auto* link = std::get_if<LinkPresent>(&message.what)) {
    present(*link);
  } else if (const auto* lost = std::get_if<LinkGone>(&message.what)) {
    gone(lost->index);
  } else if (const auto* end = std::get_if<AnswerEnd>(&message.what); end != nullptr && ofList) {
    listing_ = false;
    if (end->error != 0) {
      return end->error;
    }
    if (spoiled_) {
      due_ = now + kListPause;
    } else {
      forgetUnlisted();
    }
  }
  return 0;
}

void LinkFollower::present(const LinkPresent& link) {
  if (const auto named = names_.find(link.index);
      named != names_.end() && named->second != link.name) {
    gone(link.index);
  }
  const auto [at, isNew] = links_.try_emplace(link.name);
  at->second.seenIn = sequence_;
  if (!isNew && at->second.index == link.index) {
    return;
  }
  if (!isNew) {
    // Whatever had the name before has lost it, even if nobody said so yet.
    names_.erase(at->second.index);
  }
  at->second.index = link.index;
  names_[link.index] = link.name;
  onIndex_(link.name, link.index);
}

void LinkFollower::gone(std::uint32_t index) {
  if (const auto at = names_.find(index); at != names_.end()) {
    links_.erase(at->second);
    names_.erase(at);
  }
}

void LinkFollower::forgetUnlisted() {
  std::erase_if(links_, [this](const auto& link) {
    const bool unlisted = link.second.seenIn != sequence_;
    if (unlisted) {
      names_.erase(link.second.index);
    }
    return unlisted;
  });
}

void LinkFollower::lost(Clock::time_point now) {
  // A list under way is read to its end first: the kernel gives one at a time.
  spoiled_ = true;
  if (!listing_ && !due_) {
    due_ = now;
  }
}

}  // namespace Agent

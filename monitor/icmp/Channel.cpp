#include "monitor/icmp/Channel.h"

#include <utility>

namespace Monitor::Icmp {

std::optional<std::string> Channel::makeReady(Clock::time_point now, bool stamp) {
  constexpr std::chrono::seconds kLookEvery{1};
  if ((io_ || failure_) && now - lookedAt_ < kLookEvery) {
    return failure_;
  }
  lookedAt_ = now;
  if (io_) {
    countOverflow(now);
    if (io_->current()) {
      return std::nullopt;
    }
    close();
  }
  Network::Opened opened = network_.open(binding_, family_, *this);
  if (auto* error = std::get_if<SocketError>(&opened)) {
    failure_ = std::move(error->text);
    return failure_;
  }
  failure_.reset();
  io_ = std::move(std::get<std::unique_ptr<PacketIo>>(opened));
  io_->stampTransmissions(stamp);
  overflowedHere_ = 0;
  ++opening_;
  return std::nullopt;
}

bool Channel::overflowedSince(Clock::time_point begin, Clock::time_point now) {
  if (countedAt_ != now) {  // many rounds end at once
    countOverflow(now);
  }
  return overflowedAt_ && *overflowedAt_ >= begin;
}

void Channel::countOverflow(Clock::time_point now) {
  countedAt_ = now;
  if (!io_) {
    return;
  }
  const std::uint64_t here = io_->overflowed();
  if (here != overflowedHere_) {
    overflowed_ += here - overflowedHere_;
    overflowedHere_ = here;
    overflowedAt_ = now;
  }
}

void Channel::received(std::span<const std::uint8_t> bytes, const IpAddress& from,
                       Clock::time_point at) {
  const auto echo = parseReply(bytes, io_->framing());
  if (echo && echo->identifier == io_->identifier()) {
    listener_.replied(*this, *echo, from, at);
  } else {
    listener_.garbled();
  }
}

void Channel::transmitted(std::span<const std::uint8_t> bytes, Clock::time_point at) {
  if (const auto echo = parseSentCopy(bytes, io_->framing())) {
    listener_.transmitted(*this, *echo, at);
  }
}

void Channel::refused(std::span<const std::uint8_t> quotation, const std::string& text) {
  if (const auto echo = parseQuotation(quotation, io_->framing())) {
    listener_.refused(*this, *echo, text);
  } else {
    listener_.garbled();
  }
}

}  // namespace Monitor::Icmp

#pragma once

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <deque>
#include <span>
#include <string>
#include <vector>

#include "agent/Fd.h"
#include "agent/interfaces/LinkChannel.h"

namespace Agent::Testing {

using Octets = std::vector<std::byte>;

inline void appendOctets(Octets& to, const void* from, std::size_t size) {
  const std::size_t at = to.size();
  to.resize(at + size);
  std::memcpy(to.data() + at, from, size);
}

template <class Type>
void append(Octets& to, const Type& value) {
  appendOctets(to, &value, sizeof value);
}

/// The message's length is put into its head; `padded` up to the next boundary, as the kernel does.
inline void seal(Octets& message, bool padded = true) {
  const auto length = static_cast<std::uint32_t>(message.size());
  std::memcpy(message.data(), &length, sizeof length);
  while (padded && message.size() % NLMSG_ALIGNTO != 0) {
    message.push_back({});
  }
}

inline Octets head(std::uint16_t type, std::uint32_t sequence, std::uint16_t flags = 0) {
  Octets message;
  append(message, nlmsghdr{0, type, flags, sequence, 0});
  return message;
}

inline void appendAttribute(Octets& to, std::uint16_t type, std::string_view value) {
  append(to, rtattr{static_cast<unsigned short>(RTA_LENGTH(value.size())), type});
  appendOctets(to, value.data(), value.size());
  while (to.size() % RTA_ALIGNTO != 0) {
    to.push_back({});
  }
}

struct LinkWords {
  std::uint16_t type = RTM_NEWLINK;
  std::uint32_t sequence = 0;
  std::uint16_t flags = 0;
  unsigned char family = AF_UNSPEC;
};

/// What the kernel says of one link.
inline Octets link(const std::string& name, int index, const LinkWords& words = {}) {
  Octets message = head(words.type, words.sequence, words.flags);
  ifinfomsg info{};
  info.ifi_family = words.family;
  info.ifi_index = index;
  append(message, info);
  appendAttribute(message, IFLA_QDISC, std::string("noqueue\0", 8));
  appendAttribute(message, IFLA_IFNAME, name + '\0');
  seal(message);
  return message;
}

inline Octets goneLink(const std::string& name, int index) {
  return link(name, index, {.type = RTM_DELLINK});
}

inline Octets end(std::uint32_t sequence, int error = 0, std::uint16_t flags = NLM_F_MULTI) {
  Octets message = head(error == 0 ? NLMSG_DONE : NLMSG_ERROR, sequence, flags);
  append(message, -error);
  seal(message);
  return message;
}

inline Octets joined(const std::vector<Octets>& messages) {
  Octets all;
  for (const Octets& message : messages) {
    appendOctets(all, message.data(), message.size());
  }
  return all;
}

/// Says what it is told to, and remembers what it was asked.
class FakeChannel final : public LinkChannel {
 public:
  FakeChannel() {
    std::array<int, 2> ends{};
    [[maybe_unused]] const int made = pipe(ends.data());
    read_ = Fd(ends[0]);
    write_ = Fd(ends[1]);
  }

  int send(std::span<const std::byte> request) override {
    nlmsghdr header{};
    std::memcpy(&header, request.data(), sizeof header);
    asked.push_back(header.nlmsg_seq);
    return sendError;
  }
  Received receive() override {
    if (waiting_.empty()) {
      return Nothing{};
    }
    now_ = std::move(waiting_.front());
    waiting_.pop_front();
    std::byte octet{};
    [[maybe_unused]] const ssize_t got = ::read(read_.get(), &octet, 1);
    if (const auto* datagram = std::get_if<Octets>(&now_)) {
      return std::span<const std::byte>(*datagram);
    }
    return std::holds_alternative<Overrun>(now_) ? Received(Overrun{})
                                                 : Received(std::get<Failure>(now_));
  }
  int fd() const override { return read_.get(); }
  [[nodiscard]] bool hasMore() const { return !waiting_.empty(); }

  using Item = std::variant<Octets, Overrun, Failure>;
  void sayItem(Item item) {
    waiting_.push_back(std::move(item));
    [[maybe_unused]] const ssize_t put = ::write(write_.get(), "x", 1);
  }
  void say(const std::vector<Octets>& messages) { sayItem(joined(messages)); }

  std::vector<std::uint32_t> asked;  ///< The numbers of the lists that were asked for.
  int sendError = 0;

 private:
  Fd read_{-1};
  Fd write_{-1};
  std::deque<Item> waiting_;
  Item now_;
};

}  // namespace Agent::Testing

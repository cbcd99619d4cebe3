#include "monitor/icmp/ReceiveBatch.h"

// The order matters: errqueue.h uses timespec without including it.
#include <time.h>

#include <linux/errqueue.h>
#include <netinet/icmp6.h>
#include <netinet/ip_icmp.h>

#include <cstring>

namespace Monitor::Icmp {

namespace {

template <class Data>
Data dataOf(const cmsghdr* header) {
  Data data;
  std::memcpy(&data, CMSG_DATA(header), sizeof data);
  return data;
}

IpAddress addressOf(const sockaddr_in6& storage) {
  if (storage.sin6_family == AF_INET6) {
    return IpAddress::of(storage.sin6_addr);
  }
  sockaddr_in v4{};
  std::memcpy(&v4, &storage, sizeof v4);
  return IpAddress::of(v4.sin_addr);
}

/// Null unless the error came as an ICMP packet.
std::optional<std::string> refusalText(const cmsghdr* header) {
  const auto error = dataOf<sock_extended_err>(header);
  const bool v4 = error.ee_origin == SO_EE_ORIGIN_ICMP;
  if (!v4 && error.ee_origin != SO_EE_ORIGIN_ICMP6) {
    return std::nullopt;
  }
  const bool expired = error.ee_type == (v4 ? ICMP_TIME_EXCEEDED : ICMP6_TIME_EXCEEDED);
  std::string text =
      expired ? "hop limit exceeded" : std::strerror(static_cast<int>(error.ee_errno));
  // Who sent the error stands behind it (SO_EE_OFFENDER).
  sockaddr_in6 offender{};
  const std::size_t size = v4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
  if (header->cmsg_len >= CMSG_LEN(sizeof error + size)) {
    std::memcpy(&offender, CMSG_DATA(header) + sizeof error, size);
    if (offender.sin6_family != AF_UNSPEC) {
      text += " (" + addressOf(offender).text() + ")";
    }
  }
  return text;
}

bool isError(const cmsghdr* header) {
  return (header->cmsg_level == SOL_IP && header->cmsg_type == IP_RECVERR) ||
         (header->cmsg_level == SOL_IPV6 && header->cmsg_type == IPV6_RECVERR);
}

}  // namespace

ReceiveBatch::ReceiveBatch() : buffers_(std::make_unique<std::array<Buffer, kMost>>()) {
  for (std::size_t i = 0; i < kMost; ++i) {
    Buffer& buffer = (*buffers_)[i];
    vectors_[i] = {buffer.packet.data(), buffer.packet.size()};
    msghdr& header = messages_[i].msg_hdr;
    header.msg_iov = &vectors_[i];
    header.msg_iovlen = 1;
    header.msg_name = &buffer.from;
    header.msg_control = buffer.control.data();
  }
}

std::optional<std::size_t> ReceiveBatch::receive(int socket, Source source) {
  for (mmsghdr& message : messages_) {
    message.msg_hdr.msg_namelen = sizeof(sockaddr_in6);
    message.msg_hdr.msg_controllen = kControlSize;
  }
  const int flags = MSG_DONTWAIT | (source == Source::kErrorQueue ? MSG_ERRQUEUE : 0);
  const int count = ::recvmmsg(socket, messages_.data(), kMost, flags, nullptr);
  return count < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(count));
}

std::span<const std::uint8_t> ReceiveBatch::bytes(std::size_t i) const {
  const mmsghdr& message = messages_[i];
  if ((message.msg_hdr.msg_flags & MSG_TRUNC) != 0) {
    return {};
  }
  return std::span(std::as_const(*buffers_)[i].packet).first(message.msg_len);
}

IpAddress ReceiveBatch::from(std::size_t i) const { return addressOf((*buffers_)[i].from); }

ReceiveBatch::Notes ReceiveBatch::notes(std::size_t i) {
  Notes notes;
  msghdr& message = messages_[i].msg_hdr;
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
       header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_TIMESTAMPING) {
      notes.stamp = dataOf<scm_timestamping>(header).ts[0];  // the software one
    } else if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_TIMESTAMPNS) {
      notes.stamp = dataOf<timespec>(header);
    } else if (isError(header)) {
      const auto error = dataOf<sock_extended_err>(header);
      notes.sentCopy = error.ee_origin == SO_EE_ORIGIN_TIMESTAMPING;
      notes.refusal = refusalText(header);
    }
  }
  return notes;
}

}  // namespace Monitor::Icmp

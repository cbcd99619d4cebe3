#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "monitor/icmp/SteadyTime.h"
#include "monitor/net/IpAddress.h"

namespace Monitor::Icmp {

/// What one recvmmsg() brings; the buffers serve all sockets in turn.
class ReceiveBatch {
 public:
  static constexpr std::size_t kMost = 64;

  enum class Source : std::uint8_t { kPackets, kErrorQueue };

  ReceiveBatch();

  /// Takes up to kMost packets from the socket without waiting. Null with errno when there is none
  /// or the call failed.
  std::optional<std::size_t> receive(int socket, Source source);

  // Of packet `i` of the last receive():

  /// Empty when it was longer than any that can be ours.
  [[nodiscard]] std::span<const std::uint8_t> bytes(std::size_t i) const;
  [[nodiscard]] IpAddress from(std::size_t i) const;

  /// What the kernel tells of a packet besides.
  struct Notes {
    std::optional<timespec> stamp;       ///< When it came, or left.
    bool sentCopy = false;               ///< It is a copy of what we sent.
    std::optional<std::string> refusal;  ///< It quotes what we sent: an ICMP error, in words.
  };
  [[nodiscard]] Notes notes(std::size_t i);

 private:
  static constexpr std::size_t kPacketSize = 256;
  static constexpr std::size_t kControlSize = 256;

  struct alignas(cmsghdr) Buffer {
    std::array<std::uint8_t, kControlSize> control;
    std::array<std::uint8_t, kPacketSize> packet;
    sockaddr_in6 from;
  };

  std::unique_ptr<std::array<Buffer, kMost>> buffers_;
  std::array<iovec, kMost> vectors_{};
  std::array<mmsghdr, kMost> messages_{};
};

}  // namespace Monitor::Icmp

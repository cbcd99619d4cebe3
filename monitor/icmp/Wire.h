#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Monitor::Icmp {

/// What a request's payload carries, and an honest reply brings back. The token is drawn at random
/// for every round, so nobody who has not seen the request can make up its answer.
struct Mark {
  std::uint64_t token = 0;
  std::uint32_t slot = 0;   ///< Where the engine keeps the target.
  std::uint32_t index = 0;  ///< Which request of the round.
  bool operator==(const Mark&) const = default;
};

/// An echo header with our mark behind it (RFC 792; RFC 4443, 4.1 and 4.2).
struct Echo {
  std::uint16_t identifier = 0;
  std::uint16_t sequence = 0;
  Mark mark;
  bool operator==(const Echo&) const = default;
};

/// What stands before the ICMP header in the octets that a socket hands out.
enum class Framing : std::uint8_t {
  kIpv4Header,  ///< Raw IPv4 sockets: the IP header, options included.
  kIcmpv4,      ///< IPv4 ping sockets: nothing.
  kIcmpv6,      ///< IPv6 sockets of both kinds: nothing.
};

[[nodiscard]] constexpr bool isV6(Framing framing) noexcept { return framing == Framing::kIcmpv6; }

/// As long as the echo requests operators know: 8 octets of header and 56 of payload.
inline constexpr std::size_t kEchoSize = 64;
using EchoBytes = std::array<std::uint8_t, kEchoSize>;

/// An echo request. The checksum of an ICMPv6 one is the kernel's to set, as it covers addresses.
[[nodiscard]] EchoBytes writeRequest(Framing framing, const Echo& echo);

// The parsers take any octets, read none behind their end, and return null for everything but what
// they are named after.

/// An echo reply of exactly our size. IPv4 checksums are verified here, since a raw socket sees
/// packets before the kernel has looked at them; IPv6 ones the kernel has verified.
[[nodiscard]] std::optional<Echo> parseReply(std::span<const std::uint8_t> bytes, Framing framing);

/// Our request as an ICMP error quotes it, from its ICMP header on. Routers cut the quotation; one
/// that does not reach to the end of the mark says nothing that could be trusted.
[[nodiscard]] std::optional<Echo> parseQuotation(std::span<const std::uint8_t> bytes,
                                                 Framing framing);

/// Our request as it went out, behind link and network headers of whatever length: it ends the
/// packet.
[[nodiscard]] std::optional<Echo> parseSentCopy(std::span<const std::uint8_t> bytes,
                                                Framing framing);

}  // namespace Monitor::Icmp

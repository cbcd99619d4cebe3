#include "monitor/icmp/Wire.h"

#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <netinet/ip_icmp.h>

namespace Monitor::Icmp {

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kMarkedSize = kHeaderSize + 16;  // up to the end of the mark

template <class Unsigned>
void put(std::span<std::uint8_t> at, Unsigned value) {
  for (std::size_t i = sizeof value; i-- > 0; value = static_cast<Unsigned>(value >> 8)) {
    at[i] = static_cast<std::uint8_t>(value & 0xff);
  }
}

template <class Unsigned>
Unsigned get(std::span<const std::uint8_t> at) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < sizeof(Unsigned); ++i) {
    value = value << 8 | at[i];
  }
  return static_cast<Unsigned>(value);
}

// RFC 1071. `bytes` has an even length.
std::uint16_t checksum(std::span<const std::uint8_t> bytes) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    sum += get<std::uint16_t>(bytes.subspan(i, 2));
  }
  sum = (sum & 0xffff) + (sum >> 16);
  sum += sum >> 16;
  return static_cast<std::uint16_t>(~sum);
}

std::uint8_t requestType(Framing framing) { return isV6(framing) ? ICMP6_ECHO_REQUEST : ICMP_ECHO; }

std::uint8_t replyType(Framing framing) {
  return isV6(framing) ? ICMP6_ECHO_REPLY : ICMP_ECHOREPLY;
}

/// Precondition: `bytes` reach to the end of the mark.
std::optional<Echo> parseEcho(std::span<const std::uint8_t> bytes, std::uint8_t type) {
  if (bytes[0] != type || bytes[1] != 0) {
    return std::nullopt;
  }
  return Echo{get<std::uint16_t>(bytes.subspan(4)),
              get<std::uint16_t>(bytes.subspan(6)),
              {get<std::uint64_t>(bytes.subspan(8)), get<std::uint32_t>(bytes.subspan(16)),
               get<std::uint32_t>(bytes.subspan(20))}};
}

/// What the IP header (RFC 791) at the head of `bytes` says is behind it; null unless that is ICMP
/// and all there, unfragmented.
std::optional<std::span<const std::uint8_t>> skipIpv4Header(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kLeast = 20;
  constexpr std::uint16_t kFragment = 0x3fff;  // "more fragments" and the offset
  if (bytes.size() < kLeast || bytes[0] >> 4 != 4 || bytes[9] != IPPROTO_ICMP ||
      (get<std::uint16_t>(bytes.subspan(6)) & kFragment) != 0) {
    return std::nullopt;
  }
  const std::size_t headerSize = std::size_t{4} * (bytes[0] & 0xf);
  const std::size_t totalSize = get<std::uint16_t>(bytes.subspan(2));
  if (headerSize < kLeast || totalSize < headerSize || totalSize > bytes.size()) {
    return std::nullopt;
  }
  return bytes.subspan(headerSize, totalSize - headerSize);
}

}  // namespace

EchoBytes writeRequest(Framing framing, const Echo& echo) {
  EchoBytes bytes{};
  const std::span<std::uint8_t> all(bytes);
  all[0] = requestType(framing);
  put(all.subspan(4), echo.identifier);
  put(all.subspan(6), echo.sequence);
  put(all.subspan(8), echo.mark.token);
  put(all.subspan(16), echo.mark.slot);
  put(all.subspan(20), echo.mark.index);
  if (!isV6(framing)) {
    put(all.subspan(2), checksum(all));
  }
  return bytes;
}

std::optional<Echo> parseReply(std::span<const std::uint8_t> bytes, Framing framing) {
  if (framing == Framing::kIpv4Header) {
    const auto behind = skipIpv4Header(bytes);
    if (!behind) {
      return std::nullopt;
    }
    bytes = *behind;
  }
  if (bytes.size() != kEchoSize || (!isV6(framing) && checksum(bytes) != 0)) {
    return std::nullopt;
  }
  return parseEcho(bytes, replyType(framing));
}

std::optional<Echo> parseQuotation(std::span<const std::uint8_t> bytes, Framing framing) {
  if (bytes.size() < kMarkedSize) {
    return std::nullopt;
  }
  return parseEcho(bytes, requestType(framing));
}

std::optional<Echo> parseSentCopy(std::span<const std::uint8_t> bytes, Framing framing) {
  if (bytes.size() < kEchoSize) {
    return std::nullopt;
  }
  return parseEcho(bytes.last(kEchoSize), requestType(framing));
}

}  // namespace Monitor::Icmp

#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace Lintu {

/// An IPv4 or IPv6 address, or the unspecified one (the default, no octets).
class IpGenAddr {
 public:
  enum class Family : std::uint8_t { kUnspecified = 0, kIpv4 = 4, kIpv6 = 6 };
  /// Room for the longest text form and its NUL (RFC 4291; INET6_ADDRSTRLEN).
  using TextBuffer = std::array<char, 46>;

  IpGenAddr() = default;
  [[nodiscard]] static IpGenAddr ipv4(const std::array<std::uint8_t, 4>& octets);
  [[nodiscard]] static IpGenAddr ipv6(const std::array<std::uint8_t, 16>& octets);
  /// Reads the text form of an IPv4 (four decimal parts) or IPv6 address (RFC 4291 section 2.2,
  /// without zone); empty when `text` is neither.
  [[nodiscard]] static std::optional<IpGenAddr> parse(std::string_view text);

  [[nodiscard]] Family family() const noexcept { return family_; }
  /// 0, 4 or 16 octets in network order.
  [[nodiscard]] std::string_view octets() const noexcept;
  /// The canonical text form, written into `buffer`; "" when unspecified.
  [[nodiscard]] std::string_view text(TextBuffer& buffer) const;
  [[nodiscard]] std::string stringValue() const;
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const noexcept;

  friend bool operator==(const IpGenAddr&, const IpGenAddr&) = default;
  friend std::strong_ordering operator<=>(const IpGenAddr&, const IpGenAddr&) = default;

 private:
  Family family_ = Family::kUnspecified;
  std::array<std::uint8_t, 16> octets_{};  ///< Unused octets stay zero, so that == may compare all.
};

std::ostream& operator<<(std::ostream& out, const IpGenAddr& addr);

}  // namespace Lintu

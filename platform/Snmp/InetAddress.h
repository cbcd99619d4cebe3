#pragma once

#include <cstdint>
#include <iosfwd>

#include "Lintu/IpGenAddr.h"
#include "Snmp/String.h"

namespace Snmp {

/// An address as InetAddressType and InetAddress (RFC 4001): a type number and octets.
class InetAddress {
 public:
  static constexpr std::uint32_t kUnknown = 0;
  static constexpr std::uint32_t kIpv4 = 1;
  static constexpr std::uint32_t kIpv6 = 2;

  InetAddress() = default;
  InetAddress(std::uint32_t type, Bytes octets) : type_(type), octets_(std::move(octets)) {}
  /// ipv4 with 4 octets, ipv6 with 16, or unknown with none.
  [[nodiscard]] static InetAddress fromIpGenAddr(const Lintu::IpGenAddr& addr);

  [[nodiscard]] std::uint32_t type() const noexcept { return type_; }
  [[nodiscard]] const Bytes& octets() const noexcept { return octets_; }

  friend bool operator==(const InetAddress&, const InetAddress&) = default;

 private:
  std::uint32_t type_ = kUnknown;
  Bytes octets_;
};

/// `TYPE:` and the octets in hexadecimal, for example `1:c000020a`.
std::ostream& operator<<(std::ostream& out, const InetAddress& address);

}  // namespace Snmp

#include "Snmp/InetAddress.h"

#include <fmt/format.h>

#include <ostream>

namespace Snmp {

InetAddress InetAddress::fromIpGenAddr(const Lintu::IpGenAddr& addr) {
  std::uint32_t type = kUnknown;
  switch (addr.family()) {
    case Lintu::IpGenAddr::Family::kUnspecified:
      break;
    case Lintu::IpGenAddr::Family::kIpv4:
      type = kIpv4;
      break;
    case Lintu::IpGenAddr::Family::kIpv6:
      type = kIpv6;
      break;
  }
  return {type, Bytes(addr.octets())};
}

std::ostream& operator<<(std::ostream& out, const InetAddress& address) {
  out << address.type() << ':';
  for (const char octet : address.octets().view()) {
    out << fmt::format("{:02x}", static_cast<unsigned char>(octet));
  }
  return out;
}

}  // namespace Snmp

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "Lintu/IpGenAddr.h"
#include "Snmp/InetAddress.h"

namespace Properties {
namespace {

using Lintu::IpGenAddr;

RC_GTEST_PROP(AddressProperty, AnIpv4AddressIsReadBackFromItsText,
              (const std::array<std::uint8_t, 4>& octets)) {
  const IpGenAddr addr = IpGenAddr::ipv4(octets);
  char expected[INET_ADDRSTRLEN];
  RC_ASSERT(inet_ntop(AF_INET, octets.data(), expected, sizeof expected) != nullptr);
  RC_ASSERT(addr.stringValue() == expected);
  RC_ASSERT(IpGenAddr::parse(addr.stringValue()) == addr);
}

RC_GTEST_PROP(AddressProperty, AnIpv6AddressIsReadBackFromItsText, ()) {
  // Mostly zeroes, or the short forms would never come up.
  const auto octet = rc::gen::weightedOneOf<std::uint8_t>(
      {{3, rc::gen::just<std::uint8_t>(0)}, {1, rc::gen::arbitrary<std::uint8_t>()}});
  const auto octets = *rc::gen::container<std::array<std::uint8_t, 16>>(octet);
  const IpGenAddr addr = IpGenAddr::ipv6(octets);
  RC_ASSERT(IpGenAddr::parse(addr.stringValue()) == addr);
}

RC_GTEST_PROP(AddressProperty, TheSnmpFormHasTheSameOctets, ()) {
  const auto octets = *rc::gen::arbitrary<std::array<std::uint8_t, 16>>();
  const IpGenAddr v6 = IpGenAddr::ipv6(octets);
  const IpGenAddr v4 = IpGenAddr::ipv4({octets[0], octets[1], octets[2], octets[3]});
  RC_ASSERT(Snmp::InetAddress::fromIpGenAddr(v6).octets().view() == v6.octets());
  RC_ASSERT(Snmp::InetAddress::fromIpGenAddr(v4).octets().view() == v4.octets());
}

RC_GTEST_PROP(AddressProperty, OrderIsConsistentWithEquality, ()) {
  const auto octet = rc::gen::inRange<std::uint8_t>(0, 2);
  const auto a = IpGenAddr::ipv4(*rc::gen::container<std::array<std::uint8_t, 4>>(octet));
  const auto b = IpGenAddr::ipv4(*rc::gen::container<std::array<std::uint8_t, 4>>(octet));
  RC_ASSERT((a == b) == ((a <=> b) == std::strong_ordering::equal));
  RC_ASSERT((a < b) == (a.octets() < b.octets()));
}

}  // namespace
}  // namespace Properties

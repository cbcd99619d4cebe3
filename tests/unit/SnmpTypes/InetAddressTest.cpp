#include "Snmp/InetAddress.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Snmp {
namespace {

std::string text(const InetAddress& address) {
  std::ostringstream out;
  out << address;
  return out.str();
}

TEST(InetAddress, TheUnspecifiedAddressIsOfUnknownTypeWithoutOctets) {
  const InetAddress none = InetAddress::fromIpGenAddr({});
  EXPECT_EQ(none.type(), 0U);
  EXPECT_EQ(none.octets().size(), 0U);
  EXPECT_EQ(none, InetAddress());
  EXPECT_EQ(text(none), "0:");
}

TEST(InetAddress, AnIpv4AddressIsOfTypeOneWithFourOctets) {
  const auto address = InetAddress::fromIpGenAddr(Lintu::IpGenAddr::ipv4({192, 0, 2, 10}));
  EXPECT_EQ(address.type(), 1U);
  EXPECT_EQ(address.octets().view(), std::string_view("\xc0\x00\x02\x0a", 4));
  EXPECT_EQ(text(address), "1:c000020a");
}

TEST(InetAddress, AnIpv6AddressIsOfTypeTwoWithSixteenOctets) {
  const auto address = InetAddress::fromIpGenAddr(*Lintu::IpGenAddr::parse("2001:db8::ff"));
  EXPECT_EQ(address.type(), 2U);
  EXPECT_EQ(address.octets().size(), 16U);
  EXPECT_EQ(text(address), "2:20010db80000000000000000000000ff");
}

TEST(InetAddress, EqualityTakesTypeAndOctets) {
  const Bytes octets(std::string_view("\x01\x02\x03\x04"));
  EXPECT_EQ(InetAddress(1, octets), InetAddress(1, Bytes(std::string_view("\x01\x02\x03\x04"))));
  EXPECT_FALSE(InetAddress(1, octets) == InetAddress(2, octets));
  EXPECT_FALSE(InetAddress(1, octets) == InetAddress(1, Bytes()));
}

}  // namespace
}  // namespace Snmp

#include "Lintu/IpGenAddr.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Lintu {
namespace {

TEST(IpGenAddr, TheDefaultIsUnspecifiedAndHasNoOctets) {
  const IpGenAddr none;
  EXPECT_EQ(none.family(), IpGenAddr::Family::kUnspecified);
  EXPECT_EQ(none.octets(), "");
  EXPECT_EQ(none.stringValue(), "");
}

TEST(IpGenAddr, AnIpv4AddressIsFourOctetsInNetworkOrder) {
  const auto addr = IpGenAddr::parse("192.0.2.10");
  ASSERT_TRUE(addr);
  EXPECT_EQ(addr->family(), IpGenAddr::Family::kIpv4);
  EXPECT_EQ(addr->octets(), std::string_view("\xc0\x00\x02\x0a", 4));
  EXPECT_EQ(*addr, IpGenAddr::ipv4({192, 0, 2, 10}));
  EXPECT_EQ(addr->stringValue(), "192.0.2.10");
}

TEST(IpGenAddr, AnIpv6AddressIsSixteenOctets) {
  const auto addr = IpGenAddr::parse("2001:0db8::0:1");
  ASSERT_TRUE(addr);
  EXPECT_EQ(addr->family(), IpGenAddr::Family::kIpv6);
  EXPECT_EQ(addr->octets(), std::string_view("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x01", 16));
  EXPECT_EQ(addr->stringValue(), "2001:db8::1");
}

TEST(IpGenAddr, EveryTextThatIsNoAddressIsRefused) {
  for (const std::string_view text : {std::string_view(""),
                                      std::string_view("1"),
                                      std::string_view("1.2.3"),
                                      std::string_view("1.2.3.4.5"),
                                      std::string_view("1.2.3.256"),
                                      std::string_view("01.2.3.4"),
                                      std::string_view("1.2.3.4 "),
                                      std::string_view(" 1.2.3.4"),
                                      std::string_view("1.2.3.-4"),
                                      std::string_view("0x1.2.3.4"),
                                      std::string_view(":"),
                                      std::string_view(":::"),
                                      std::string_view("1::2::3"),
                                      std::string_view("12345::"),
                                      std::string_view("::g"),
                                      std::string_view("fe80::1%eth0"),
                                      std::string_view("[::1]"),
                                      std::string_view("host"),
                                      std::string_view("1.2.3.4\0", 8),
                                      std::string_view("1.2.3.4\0x", 9)}) {
    EXPECT_EQ(IpGenAddr::parse(text), std::nullopt) << text;
  }
}

TEST(IpGenAddr, TheLongestTextsFit) {
  const std::string longest = "0000:0000:0000:0000:0000:ffff:255.255.255.255";
  ASSERT_EQ(longest.size() + 1, IpGenAddr::TextBuffer().size());
  const auto addr = IpGenAddr::parse(longest);
  ASSERT_TRUE(addr);
  EXPECT_EQ(addr->stringValue(), "::ffff:255.255.255.255");
  EXPECT_EQ(IpGenAddr::parse(longest + "0"), std::nullopt);
  EXPECT_EQ(IpGenAddr::parse("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff")->stringValue(),
            "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
  EXPECT_EQ(IpGenAddr::parse("255.255.255.255")->stringValue(), "255.255.255.255");
}

TEST(IpGenAddr, TheZeroAddressesAreNotTheUnspecifiedOneNorEachOther) {
  const IpGenAddr none;
  const auto zero4 = IpGenAddr::parse("0.0.0.0");
  const auto zero6 = IpGenAddr::parse("::");
  ASSERT_TRUE(zero4 && zero6);
  EXPECT_NE(*zero4, none);
  EXPECT_NE(*zero6, none);
  EXPECT_NE(*zero4, *zero6);
  EXPECT_EQ(zero4->stringValue(), "0.0.0.0");
  EXPECT_EQ(zero6->stringValue(), "::");
  EXPECT_NE(zero4->hash(0), zero6->hash(0));
}

TEST(IpGenAddr, AnIpv4MappedAddressIsIpv6) {
  EXPECT_NE(*IpGenAddr::parse("::ffff:192.0.2.1"), *IpGenAddr::parse("192.0.2.1"));
}

TEST(IpGenAddr, OrderIsFamilyFirstThenOctets) {
  EXPECT_LT(IpGenAddr(), *IpGenAddr::parse("0.0.0.0"));
  EXPECT_LT(*IpGenAddr::parse("9.9.9.9"), *IpGenAddr::parse("10.0.0.0"));
  EXPECT_LT(*IpGenAddr::parse("255.255.255.255"), *IpGenAddr::parse("::"));
  EXPECT_LT(*IpGenAddr::parse("::1"), *IpGenAddr::parse("::2"));
}

TEST(IpGenAddr, EqualAddressesHashAlike) {
  EXPECT_EQ(IpGenAddr::parse("2001:db8::1")->hash(9), IpGenAddr::parse("2001:DB8:0:0::1")->hash(9));
  EXPECT_NE(IpGenAddr::parse("192.0.2.1")->hash(9), IpGenAddr::parse("192.0.2.2")->hash(9));
}

TEST(IpGenAddr, StreamsItsText) {
  std::ostringstream out;
  out << IpGenAddr::ipv4({10, 0, 0, 1}) << ' ' << IpGenAddr();
  EXPECT_EQ(out.str(), "10.0.0.1 ");
}

}  // namespace
}  // namespace Lintu

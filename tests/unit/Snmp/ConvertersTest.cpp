#include "Snmp/Converters.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include "Qiv/Errors.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

namespace {

using Buffer = std::array<unsigned char, 1024>;

/// The value that net-snmp makes of a converted number, and what it writes on the wire.
struct Shown {
  long number;
  std::string wire;
};
Shown shownAsInteger(const Buffer& buffer, std::ptrdiff_t length) {
  netsnmp_variable_list varbind{};
  EXPECT_EQ(snmp_set_var_typed_value(&varbind, ASN_INTEGER, buffer.data(),
                                     static_cast<std::size_t>(length)),
            0);
  std::array<u_char, 64> packet{};
  std::size_t room = packet.size();
  const u_char* end =
      asn_build_int(packet.data(), &room, ASN_INTEGER, varbind.val.integer, varbind.val_len);
  return {*varbind.val.integer, std::string(packet.data(), packet.data() + (end - packet.data()))};
}

/// What a manager's net-snmp reads off the wire.
long readBack(const std::string& wire) {
  std::string packet = wire;
  std::size_t length = packet.size();
  u_char type = 0;
  long number = 0;
  EXPECT_NE(asn_parse_int(reinterpret_cast<u_char*>(packet.data()), &length, &type, &number,
                          sizeof number),
            nullptr);
  return number;
}

TEST(Converters, AStringIsItsOctets) {
  Buffer buffer{};
  EXPECT_EQ(Snmp::StringToAsnOctetString("abc", buffer.data(), buffer.size()), 3);
  EXPECT_EQ(std::memcmp(buffer.data(), "abc\0", 4), 0);
}

TEST(Converters, AStringMayBeEmptyOrHoldNul) {
  Buffer buffer{};
  EXPECT_EQ(Snmp::StringToAsnOctetString("", buffer.data(), buffer.size()), 0);
  EXPECT_EQ(Snmp::StringToAsnOctetString(std::string_view("a\0b", 3), buffer.data(), 3), 3);
  EXPECT_EQ(std::memcmp(buffer.data(), "a\0b", 3), 0);
}

TEST(Converters, ALongStringGivesItsTrueLengthAndStaysInTheBuffer) {
  std::array<unsigned char, 8> buffer{};
  buffer[5] = 0xee;
  EXPECT_EQ(Snmp::StringToAsnOctetString(std::string(300, 'x'), buffer.data(), 5), 300);
  EXPECT_EQ(buffer[4], 'x');
  EXPECT_EQ(buffer[5], 0xee);
}

TEST(Converters, BytesAreTheirOctets) {
  std::array<unsigned char, 8> buffer{};
  buffer[5] = 0xee;
  const Snmp::Bytes address(std::string_view("\xc0\0\2\x0a", 4));
  EXPECT_EQ(Snmp::SnmpBytesToAsnOctetString(address, buffer.data(), buffer.size()), 4);
  EXPECT_EQ(std::memcmp(buffer.data(), "\xc0\0\2\x0a", 4), 0);
  const Snmp::Bytes tooLong(std::string_view("123456789"));
  EXPECT_EQ(Snmp::SnmpBytesToAsnOctetString(tooLong, buffer.data(), 5), 9);
  EXPECT_EQ(buffer[5], 0xee);
}

TEST(Converters, AnUnsignedNumberKeepsItsValueAsInteger) {
  Buffer buffer{};
  for (const std::uint32_t number : {0U, 1U, 255U, 2147483647U, 2147483648U, 4294967295U}) {
    const auto length = Snmp::U32ToAsnUnsigned(number, buffer.data(), buffer.size());
    EXPECT_EQ(length, 8);
    const Shown shown = shownAsInteger(buffer, length);
    EXPECT_EQ(shown.number, static_cast<long>(number));
    EXPECT_EQ(readBack(shown.wire), static_cast<long>(number));
  }
}

TEST(Converters, TheLargestUnsignedNumberTakesFiveOctetsOnTheWire) {
  Buffer buffer{};
  const auto length = Snmp::U32ToAsnUnsigned(4294967295U, buffer.data(), buffer.size());
  EXPECT_EQ(shownAsInteger(buffer, length).wire, std::string("\x02\x05\0\xff\xff\xff\xff", 7));
}

TEST(Converters, ASignedNumberKeepsItsSignAsInteger) {
  Buffer buffer{};
  for (const std::int32_t number : {0, 1, -1, -499, 2147483647, -2147483647 - 1}) {
    const auto length = Snmp::S32ToAsnInteger(number, buffer.data(), buffer.size());
    EXPECT_EQ(length, 4);
    const Shown shown = shownAsInteger(buffer, length);
    EXPECT_EQ(shown.number, number);
    EXPECT_EQ(readBack(shown.wire), number);
  }
}

TEST(Converters, MinusOneTakesOneOctetOnTheWire) {
  Buffer buffer{};
  const auto length = Snmp::S32ToAsnInteger(-1, buffer.data(), buffer.size());
  EXPECT_EQ(shownAsInteger(buffer, length).wire, "\x02\x01\xff");
}

TEST(Converters, ABufferTooSmallForANumberIsAFailureAndLeftAlone) {
  std::array<unsigned char, 8> buffer{};
  EXPECT_LT(Snmp::U32ToAsnUnsigned(7, buffer.data(), 7), 0);
  EXPECT_LT(Snmp::S32ToAsnInteger(7, buffer.data(), 3), 0);
  EXPECT_EQ(buffer, (std::array<unsigned char, 8>{}));
}

TEST(Converters, NoBufferIsAFailure) {
  EXPECT_LT(Snmp::StringToAsnOctetString("a", nullptr, 10), 0);
  EXPECT_LT(Snmp::SnmpBytesToAsnOctetString(Snmp::Bytes(std::string_view("a")), nullptr, 10), 0);
  EXPECT_LT(Snmp::U32ToAsnUnsigned(7, nullptr, 10), 0);
  EXPECT_LT(Snmp::S32ToAsnInteger(7, nullptr, 10), 0);
}

TEST(Converters, AnIndexIsMadeOfOctets) {
  const unsigned char octets[] = {'a', 0, 0xff};
  EXPECT_EQ(Snmp::AsnOctetStringToSnmpString(octets, 3).view(), std::string_view("a\0\xff", 3));
  EXPECT_EQ(Snmp::AsnOctetStringToSnmpString(nullptr, 0).view(), "");
}

TEST(Converters, AnIndexIsAtMostAsLongAsAnOctetString) {
  const std::string longest(65536, 'x');
  const auto* octets = reinterpret_cast<const unsigned char*>(longest.data());
  EXPECT_EQ(Snmp::AsnOctetStringToSnmpString(octets, 65535).size(), 65535U);
  EXPECT_THROW(static_cast<void>(Snmp::AsnOctetStringToSnmpString(octets, 65536)), Qiv::RangeError);
}

}  // namespace

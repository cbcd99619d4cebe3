#include "Ber.h"

#include <gtest/gtest.h>

namespace bench {
namespace {

std::string octets(std::initializer_list<unsigned> values) {
  std::string out;
  for (const unsigned value : values) {
    out += static_cast<char>(value);
  }
  return out;
}

TEST(Ber, AGetOfAScalarIsTheKnownOctets) {
  const std::string packet = encodeRequest(Pdu::kGet, "public", {{1, 3, 6, 1, 2, 1, 1, 3, 0}});
  EXPECT_EQ(packet, octets({0x30, 0x29, 0x02, 0x01, 0x01, 0x04, 0x06, 'p',  'u',  'b',  'l',
                            'i',  'c',  0xa0, 0x1c, 0x02, 0x04, 0x01, 0x01, 0x01, 0x01, 0x02,
                            0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x0e, 0x30, 0x0c, 0x06, 0x08,
                            0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x03, 0x00, 0x05, 0x00}));
  EXPECT_EQ(requestIdOffset("public", packet), 17U);
}

TEST(Ber, SubIdentifiersFrom128OnTakeSeveralOctets) {
  const std::string packet = encodeRequest(Pdu::kGetNext, "c", {{1, 3, 61111, 128, 4294967295}});
  EXPECT_NE(packet.find(octets(
                {0x06, 0x0b, 0x2b, 0x83, 0xdd, 0x37, 0x81, 0x00, 0x8f, 0xff, 0xff, 0xff, 0x7f})),
            std::string::npos);
}

TEST(Ber, ABulkRequestCarriesItsNumbersAndLargeOnesStayPositive) {
  const std::string packet = encodeRequest(Pdu::kGetBulk, "c", {{1, 3}}, 1, 200);
  EXPECT_NE(packet.find(octets({0x02, 0x01, 0x01, 0x02, 0x02, 0x00, 0xc8, 0x30})),
            std::string::npos);
}

TEST(Ber, AnAnswerIsReadAndACutOneIsRefused) {
  const std::string packet = octets(
      {0x30, 0x2a, 0x02, 0x01, 0x01, 0x04, 0x06, 'p',  'u',  'b',  'l',  'i',  'c',  0xa2, 0x1d,
       0x02, 0x04, 0x01, 0x02, 0x03, 0x04, 0x02, 0x01, 0x05, 0x02, 0x01, 0x01, 0x30, 0x0f, 0x30,
       0x0d, 0x06, 0x08, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x03, 0x00, 0x43, 0x01, 0x2a});
  Response response;
  ASSERT_TRUE(decodeResponse(packet, response));
  EXPECT_EQ(response.requestId, 0x01020304U);
  EXPECT_EQ(response.errorStatus, 5);
  ASSERT_EQ(response.varbinds.size(), 1U);
  EXPECT_EQ(response.varbinds[0].name, (Oid{1, 3, 6, 1, 2, 1, 1, 3, 0}));
  EXPECT_EQ(response.varbinds[0].tag, 0x43);
  EXPECT_EQ(response.varbinds[0].value, "\x2a");
  for (std::size_t size = 0; size < packet.size(); ++size) {
    EXPECT_FALSE(decodeResponse(packet.substr(0, size), response)) << size;
  }
}

}  // namespace
}  // namespace bench

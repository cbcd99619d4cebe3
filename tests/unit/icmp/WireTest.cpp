#include "monitor/icmp/Wire.h"

#include <gtest/gtest.h>

#include <vector>

#include "FakeNetwork.h"

namespace Monitor::Icmp {
namespace {

using Testing::FakeNetwork;
using Bytes = std::vector<std::uint8_t>;

const Echo kEcho{0x1234, 0xfffe, {0x0123456789abcdef, 0xa1b2c3d4, 3}};

class Wire : public ::testing::TestWithParam<Framing> {
 protected:
  [[nodiscard]] FakeNetwork::Request request() const {
    FakeNetwork::Request made;
    made.bytes = writeRequest(GetParam(), kEcho);
    made.framing = GetParam();
    return made;
  }
};

INSTANTIATE_TEST_SUITE_P(Framings, Wire,
                         ::testing::Values(Framing::kIpv4Header, Framing::kIcmpv4,
                                           Framing::kIcmpv6),
                         [](const auto& instance) {
                           switch (instance.param) {
                             case Framing::kIpv4Header:
                               return "RawV4";
                             case Framing::kIcmpv4:
                               return "PingV4";
                             default:
                               return "V6";
                           }
                         });

TEST_P(Wire, AReplyBringsBackWhatItsRequestSaid) {
  EXPECT_EQ(parseReply(FakeNetwork::replyTo(request()), GetParam()), kEcho);
}

TEST_P(Wire, ARequestIsNoReply) {
  const EchoBytes bytes = writeRequest(GetParam(), kEcho);
  EXPECT_EQ(parseReply(bytes, GetParam()), std::nullopt);
}

TEST_P(Wire, ATruncatedReplyIsRefusedAtEveryLength) {
  const Bytes reply = FakeNetwork::replyTo(request());
  for (std::size_t size = 0; size < reply.size(); ++size) {
    const Bytes cut(reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(parseReply(cut, GetParam()), std::nullopt) << size;
  }
}

TEST_P(Wire, AnErrorMessageIsNoReply) {
  Bytes bytes = FakeNetwork::replyTo(request());
  bytes[bytes.size() - kEchoSize] = 3;
  EXPECT_EQ(parseReply(bytes, GetParam()), std::nullopt);
}

TEST_P(Wire, AQuotationIsReadAsSoonAsItReachesTheEndOfTheMark) {
  const EchoBytes bytes = writeRequest(GetParam(), kEcho);
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(parseQuotation(cut, GetParam()), size >= 24 ? std::optional(kEcho) : std::nullopt);
  }
}

TEST_P(Wire, AQuotedReplyIsNotOurRequest) {
  Bytes reply = FakeNetwork::replyTo(request());
  reply.erase(reply.begin(), reply.end() - kEchoSize);
  EXPECT_EQ(parseQuotation(reply, GetParam()), std::nullopt);
}

TEST_P(Wire, ASentCopyIsFoundBehindHeadersOfAnyLength) {
  const EchoBytes bytes = writeRequest(GetParam(), kEcho);
  for (const std::size_t headers : {0U, 14U, 34U, 54U, 97U}) {
    Bytes copy(headers, 0xff);
    copy.insert(copy.end(), bytes.begin(), bytes.end());
    EXPECT_EQ(parseSentCopy(copy, GetParam()), kEcho);
  }
  EXPECT_EQ(parseSentCopy(Bytes(bytes.begin() + 1, bytes.end()), GetParam()), std::nullopt);
}

TEST(WireIpv4, TheChecksumOfARequestIsThatOfItsOctets) {
  EchoBytes bytes = writeRequest(Framing::kIcmpv4, kEcho);
  const EchoBytes written = bytes;
  FakeNetwork::setChecksum(bytes);
  EXPECT_EQ(bytes, written);
}

TEST(WireIpv4, AReplyWithAnyOneBitWrongIsRefused) {
  FakeNetwork::Request request;
  request.bytes = writeRequest(Framing::kIcmpv4, kEcho);
  request.framing = Framing::kIcmpv4;
  const Bytes reply = FakeNetwork::replyTo(request);
  for (std::size_t bit = 0; bit < reply.size() * 8; ++bit) {
    Bytes damaged = reply;
    damaged[bit / 8] = static_cast<std::uint8_t>(damaged[bit / 8] ^ (1U << bit % 8));
    EXPECT_EQ(parseReply(damaged, Framing::kIcmpv4), std::nullopt) << bit;
  }
}

class RawIpv4 : public ::testing::Test {
 protected:
  RawIpv4() {
    FakeNetwork::Request request;
    request.bytes = writeRequest(Framing::kIpv4Header, kEcho);
    request.framing = Framing::kIpv4Header;
    packet = FakeNetwork::replyTo(request);
  }
  [[nodiscard]] std::optional<Echo> parsed() const {
    return parseReply(packet, Framing::kIpv4Header);
  }
  Bytes packet;
};

TEST_F(RawIpv4, OptionsInTheHeaderAreSkipped) {
  for (std::uint8_t words = 6; words <= 15; ++words) {
    packet.insert(packet.begin() + 20, 4, 1);
    packet[0] = static_cast<std::uint8_t>(0x40 | words);
    packet[3] = static_cast<std::uint8_t>(packet[3] + 4);
    EXPECT_EQ(parsed(), kEcho) << int{words};
  }
}

TEST_F(RawIpv4, AHeaderLengthBeyondThePacketIsRefused) {
  packet.resize(40);
  packet[0] = 0x4f;
  EXPECT_EQ(parsed(), std::nullopt);
}

TEST_F(RawIpv4, AHeaderLengthBelowAHeaderIsRefused) {
  packet[0] = 0x44;
  EXPECT_EQ(parsed(), std::nullopt);
}

TEST_F(RawIpv4, ATotalLengthBeyondOrBelowWhatIsThereIsRefused) {
  const auto right = packet[3];
  for (int length = 0; length < 256; ++length) {
    packet[3] = static_cast<std::uint8_t>(length);
    EXPECT_EQ(parsed().has_value(), length == right) << length;
  }
}

TEST_F(RawIpv4, PaddingBehindThePacketIsNotPartOfIt) {
  packet.insert(packet.end(), 18, 0xaa);
  EXPECT_EQ(parsed(), kEcho);
}

TEST_F(RawIpv4, AFragmentIsRefused) {
  packet[6] = 0x20;  // more fragments
  EXPECT_EQ(parsed(), std::nullopt);
  packet[6] = 0;
  packet[7] = 8;  // not the first
  EXPECT_EQ(parsed(), std::nullopt);
  packet[7] = 0;
  packet[6] = 0x40;  // "don't fragment" is none
  EXPECT_EQ(parsed(), kEcho);
}

TEST_F(RawIpv4, AnotherProtocolOrVersionIsRefused) {
  packet[9] = 17;
  EXPECT_EQ(parsed(), std::nullopt);
  packet[9] = 1;
  packet[0] = 0x65;
  EXPECT_EQ(parsed(), std::nullopt);
}

}  // namespace
}  // namespace Monitor::Icmp

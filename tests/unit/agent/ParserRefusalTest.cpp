#include "ParserTesting.h"

namespace Agent {
namespace {

// Operations and fields.

TEST(FeedParser, UnknownOperationsAreRefused) {
  EXPECT_EQ(errorOf(R"({"op":"drop"})"), "op: unknown operation");
  EXPECT_EQ(errorOf(R"({"op":"HELLO","client":"c"})"), "op: unknown operation");
  EXPECT_EQ(errorOf(R"({"op":""})"), "op: must have 1 to 255 bytes");
}

TEST(FeedParser, AMissingOperationIsRefused) {
  EXPECT_EQ(errorOf("{}"), "op: missing");
  EXPECT_EQ(errorOf(R"({"client":"c"})"), "op: missing");
}

TEST(FeedParser, UnknownFieldsAreRefusedByName) {
  EXPECT_EQ(errorOf(R"({"op":"sync","colour":1})"), "colour: unknown field");
  EXPECT_EQ(errorOf(R"({"op":"sync","Op":1})"), "Op: unknown field");
  EXPECT_EQ(errorOf(R"({"op":"sync","":1})"), "unknown field");
}

TEST(FeedParser, FieldsOfOtherOperationsAreRefusedByName) {
  EXPECT_EQ(errorOf(R"({"op":"sync","host":"h"})"), "host: not a field of sync");
  EXPECT_EQ(errorOf(R"({"op":"removeClient","client":"c"})"),
            "client: not a field of removeClient");
  EXPECT_EQ(errorOf(R"({"op":"removeHost","host":"h","probe":"icmp"})"),
            "probe: not a field of removeHost");
}

TEST(FeedParser, FieldsOfOtherProbesAreRefusedByName) {
  EXPECT_EQ(errorOf(icmpPut(R"(,"port":80)")), "port: not a field of put");
  EXPECT_EQ(errorOf(icmpPut(R"(,"url":"http://h/")")), "url: not a field of put");
  EXPECT_EQ(errorOf(icmpPut(R"(,"responseTime":1)")), "responseTime: not a field of put");
  EXPECT_EQ(errorOf(tcpPut(R"(,"port":80,"jitter":1)")), "jitter: not a field of put");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"http","url":"u","address":"::1"})"),
            "address: not a field of put");
}

TEST(FeedParser, EveryMissingFieldIsRefusedByName) {
  EXPECT_EQ(errorOf(R"({"op":"hello"})"), "client: missing");
  EXPECT_EQ(errorOf(R"({"op":"interface","ifIndex":1})"), "name: missing");
  EXPECT_EQ(errorOf(R"({"op":"interface","name":"e"})"), "ifIndex: missing");
  EXPECT_EQ(errorOf(R"({"op":"put","probe":"icmp","address":"::1"})"), "host: missing");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","address":"::1"})"), "probe: missing");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"icmp"})"), "address: missing");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"http"})"), "url: missing");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"tcp","port":1})"), "address: missing");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"tcp","address":"::1"})"), "port: missing");
  EXPECT_EQ(errorOf(R"({"op":"removeHost","vrf":"v"})"), "host: missing");
}

TEST(FeedParser, WrongTypesAreRefusedByName) {
  EXPECT_EQ(errorOf(R"({"op":1})"), "op: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"hello","client":7})"), "client: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"hello","client":"c","holdSeconds":"5"})"),
            "holdSeconds: must be a number");
  EXPECT_EQ(errorOf(R"({"op":"interface","name":1,"ifIndex":1})"), "name: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"interface","name":"e","ifIndex":"1"})"), "ifIndex: must be a number");
  EXPECT_EQ(errorOf(tcpPut(R"(,"port":"80")")), "port: must be a number");
  EXPECT_EQ(errorOf(icmpPut(R"(,"latency":"1")")), "latency: must be a number");
  EXPECT_EQ(errorOf(icmpPut(R"(,"jitter":"1")")), "jitter: must be a number");
  EXPECT_EQ(errorOf(icmpPut(R"(,"packetLoss":"1")")), "packetLoss: must be a number");
  EXPECT_EQ(errorOf(icmpPut(R"(,"vrf":1)")), "vrf: must be a string");
  EXPECT_EQ(errorOf(icmpPut(R"(,"interface":1)")), "interface: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"put","host":1,"probe":"icmp","address":"::1"})"),
            "host: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":1,"address":"::1"})"),
            "probe: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"icmp","address":1})"),
            "address: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"http","url":1})"), "url: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"http","url":"u","responseTime":"1"})"),
            "responseTime: must be a number");
}

TEST(FeedParser, NullTrueListsAndObjectsAreRefusedByName) {
  for (const char* value : {"null", "true", "false", "[]", "{}", "[[1]]", R"({"a":{"b":1}})"}) {
    EXPECT_EQ(errorOf(icmpPut(std::string(R"(,"interface":)") + value)),
              "interface: must be a string or a number")
        << value;
  }
}

TEST(FeedParser, AFieldGivenTwiceIsRefused) {
  EXPECT_EQ(errorOf(R"({"op":"sync","op":"sync"})"), "op: given twice");
  EXPECT_EQ(errorOf(R"({"op":"hello","client":"a","client":"b"})"), "client: given twice");
  EXPECT_EQ(errorOf(R"({"op":"hello","client":"a","\u0063lient":"b"})"), "client: given twice");
}

TEST(FeedParser, AnUnknownProbeIsRefused) {
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"udp","address":"::1","port":1})"),
            "probe: must be icmp, http or tcp");
}

// Strings.

TEST(FeedParser, EmptyStringsAreRefusedWhereSomethingMustStand) {
  EXPECT_EQ(errorOf(R"({"op":"hello","client":""})"), "client: must have 1 to 255 bytes");
  EXPECT_EQ(errorOf(R"({"op":"interface","name":"","ifIndex":1})"),
            "name: must have 1 to 64 bytes");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"","probe":"icmp","address":"::1"})"),
            "host: must have 1 to 255 bytes");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"http","url":""})"),
            "url: must have 1 to 255 bytes");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"icmp","address":""})"),
            "address: must have 1 to 45 bytes");
}

TEST(FeedParser, TooLongStringsAreRefused) {
  const std::string bytes256(256, 'x');
  const std::string bytes65(65, 'x');
  const std::string bytes33(33, 'x');
  EXPECT_EQ(errorOf(R"({"op":"hello","client":")" + bytes256 + R"("})"),
            "client: must have 1 to 255 bytes");
  EXPECT_EQ(errorOf(R"({"op":"removeHost","host":")" + bytes256 + R"("})"),
            "host: must have 1 to 255 bytes");
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"http","url":")" + bytes256 + R"("})"),
            "url: must have 1 to 255 bytes");
  EXPECT_EQ(errorOf(R"({"op":"interface","ifIndex":1,"name":")" + bytes65 + R"("})"),
            "name: must have 1 to 64 bytes");
  EXPECT_EQ(errorOf(icmpPut(R"(,"interface":")" + bytes65 + R"(")")),
            "interface: must have 0 to 64 bytes");
  EXPECT_EQ(errorOf(icmpPut(R"(,"vrf":")" + bytes33 + R"(")")), "vrf: must have 0 to 32 bytes");
}

TEST(FeedParser, ANulCharacterInAStringIsRefused) {
  EXPECT_EQ(errorOf(R"({"op":"hello","client":"a\u0000b"})"),
            "client: must not have a NUL character");
  EXPECT_EQ(errorOf(icmpPut(R"(,"vrf":"\u0000")")), "vrf: must not have a NUL character");
  EXPECT_EQ(errorOf(R"({"op":"removeHost","host":"h\u0000"})"),
            "host: must not have a NUL character");
}

TEST(FeedParser, TextThatIsNoAddressIsRefused) {
  for (const char* text :
       {"h", "192.0.2", "192.0.2.256", "192.0.2.1 ", " 192.0.2.1", "192.0.2.1/24", "2001:db8::g",
        "2001:db8::1::2", "[::1]", "fe80::1%eth0", "1:2:3:4:5:6:7", "0300.0.2.1", "3221226000"}) {
    EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"icmp","address":")" + std::string(text) +
                      R"("})"),
              "address: must be an IPv4 or IPv6 address")
        << text;
  }
  EXPECT_EQ(errorOf(R"({"op":"put","host":"h","probe":"icmp","address":"192.0.2.1\u0000x"})"),
            "address: must not have a NUL character");
}

// Lines that are no JSON object.

TEST(FeedParser, InvalidUtf8IsRefused) {
  for (const char* bytes :
       {"\xff", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\x80"}) {
    const std::string error =
        errorOf(R"({"op":"hello","client":"a)" + std::string(bytes) + R"("})");
    EXPECT_EQ(error.substr(0, 30), "client: not valid JSON at byte") << error;
  }
  EXPECT_EQ(errorOf(R"({"op":"hello","client":"\ud800"})").substr(0, 30),
            "client: not valid JSON at byte");
}

TEST(FeedParser, AnythingButAnObjectIsRefused) {
  for (const char* line : {"[]", "1", "\"hello\"", "null", "true", R"([{"op":"sync"}])"}) {
    EXPECT_EQ(errorOf(line), "not a JSON object") << line;
  }
}

TEST(FeedParser, BrokenJsonIsRefusedWithThePlaceOfTheFault) {
  EXPECT_EQ(errorOf(""), "not valid JSON at byte 1");
  EXPECT_EQ(errorOf("   "), "not valid JSON at byte 4");
  EXPECT_EQ(errorOf("hello"), "not valid JSON at byte 1");
  EXPECT_EQ(errorOf(R"({"op":"sync")"), "not valid JSON at byte 13");
  EXPECT_EQ(errorOf(R"({"op":"sync",})"), "not valid JSON at byte 14");
  EXPECT_EQ(errorOf(R"({op:"sync"})"), "not valid JSON at byte 2");
  EXPECT_EQ(errorOf(R"({"op":})"), "op: not valid JSON at byte 7");
  EXPECT_EQ(errorOf(R"({"op")"), "op: not valid JSON at byte 6");
}

TEST(FeedParser, AnythingBehindTheObjectIsRefused) {
  EXPECT_EQ(errorOf(R"({"op":"sync"} x)"), "not valid JSON at byte 15");
  EXPECT_EQ(errorOf(R"({"op":"sync"}{"op":"sync"})"), "not valid JSON at byte 14");
}

TEST(FeedParser, ANulOctetDoesNotHideWhatFollowsIt) {
  using namespace std::string_view_literals;
  EXPECT_EQ(errorOf("{\"op\":\"sync\"}\0{"sv), "not valid JSON: the line has a NUL octet");
  EXPECT_EQ(errorOf("\0"sv), "not valid JSON: the line has a NUL octet");
}

TEST(FeedParser, DeepNestingIsRefusedAtItsFirstLevel) {
  EXPECT_EQ(errorOf(std::string(60'000, '[')), "not a JSON object");
  std::string objects;
  for (int i = 0; i < 10'000; ++i) {
    objects += R"({"op":)";
  }
  EXPECT_EQ(errorOf(objects), "op: must be a string or a number");
}

TEST(FeedParser, ALongUnknownFieldIsShortenedBetweenCharacters) {
  std::string name(39, 'x');
  name += "\u00e9";  // its two bytes stand across the cut
  name += std::string(1000, 'y');
  EXPECT_EQ(errorOf("{\"" + name + "\":1}"), std::string(39, 'x') + "...: unknown field");
}

TEST(FeedParser, EveryPrefixOfALineIsRefusedAndNothingElseHappens) {
  const std::string line = icmpPut(R"(,"vrf":"blue","latency":1.5e1,"interface":"\u0065th")");
  for (std::size_t length = 0; length < line.size(); ++length) {
    EXPECT_NE(errorOf(line.substr(0, length)), "accepted") << length;
  }
  EXPECT_EQ(errorOf(line), "accepted");
}

}  // namespace
}  // namespace Agent

#include <cmath>
#include <limits>

#include "ParserTesting.h"

namespace Agent {
namespace {

// What is accepted.

TEST(FeedParser, HelloHasAClientAndMayHaveAHoldTime) {
  const auto plain = parsed<Hello>(R"({"op":"hello","client":"lab"})");
  EXPECT_EQ(plain.client, "lab");
  EXPECT_FALSE(plain.hold);
  using namespace std::chrono_literals;
  EXPECT_EQ(parsed<Hello>(R"({"op":"hello","client":"c","holdSeconds":0})").hold, Hold(0ms));
  EXPECT_EQ(parsed<Hello>(R"({"op":"hello","client":"c","holdSeconds":2.5})").hold, Hold(2500ms));
}

TEST(FeedParser, AHoldTimeIsRoundedUpToAWholeMillisecond) {
  using namespace std::chrono_literals;
  EXPECT_EQ(parsed<Hello>(R"({"op":"hello","client":"c","holdSeconds":1e-9})").hold, Hold(1ms));
}

TEST(FeedParser, AHugeHoldTimeIsKeptAsAVeryLongOne) {
  EXPECT_EQ(parsed<Hello>(R"({"op":"hello","client":"c","holdSeconds":1e308})").hold,
            Hold(std::chrono::seconds(1'000'000'000)));
}

TEST(FeedParser, InterfaceHasANameAndAnIndex) {
  const auto line = parsed<SetInterface>(R"({"op":"interface","name":"eth1","ifIndex":7})");
  EXPECT_EQ(line.name, "eth1");
  EXPECT_EQ(line.ifIndex, 7U);
}

TEST(FeedParser, AnInterfaceIndexReachesFrom1To2147483647) {
  EXPECT_EQ(parsed<SetInterface>(R"({"op":"interface","name":"e","ifIndex":1})").ifIndex, 1U);
  EXPECT_EQ(parsed<SetInterface>(R"({"op":"interface","name":"e","ifIndex":2147483647})").ifIndex,
            2147483647U);
}

TEST(FeedParser, AWholeNumberMayBeWrittenWithAFractionOfZero) {
  EXPECT_EQ(parsed<SetInterface>(R"({"op":"interface","name":"e","ifIndex":7.0})").ifIndex, 7U);
  EXPECT_EQ(parsed<SetInterface>(R"({"op":"interface","name":"e","ifIndex":7e2})").ifIndex, 700U);
}

TEST(FeedParser, AnIcmpPutHasAllItsMeasurements) {
  const auto put =
      parsed<Put>(R"({"op":"put","host":"web1","vrf":"blue","probe":"icmp","interface":"eth1",)"
                  R"("address":"192.0.2.10","latency":12.345,"jitter":0.2,"packetLoss":3})");
  EXPECT_EQ(
      put.key,
      (ProbeKey{{"web1", "blue"}, "eth1", IcmpTarget{*Lintu::IpGenAddr::parse("192.0.2.10")}}));
  EXPECT_EQ(put.measured, (Measurements{12.345F, 0.2F, 0, 3.0F}));
}

TEST(FeedParser, AnHttpPutHasAUrlAndAResponseTime) {
  const auto put = parsed<Put>(
      R"({"op":"put","host":"web1","probe":"http","url":"http://192.0.2.10/","responseTime":25.7})");
  EXPECT_EQ(put.key, (ProbeKey{{"web1", "default"}, "", HttpTarget{"http://192.0.2.10/"}}));
  EXPECT_EQ(put.measured, (Measurements{0, 0, 25.7F, 0}));
}

TEST(FeedParser, ATcpPutHasAnAddressAPortAndALatency) {
  const auto put =
      parsed<Put>(R"({"op":"put","host":"db1","vrf":"blue","probe":"tcp","interface":"eth1",)"
                  R"("address":"2001:db8::1","port":5432,"latency":1.5})");
  EXPECT_EQ(put.key, (ProbeKey{{"db1", "blue"},
                               "eth1",
                               TcpTarget{*Lintu::IpGenAddr::parse("2001:db8::1"), 5432}}));
  EXPECT_EQ(put.measured, (Measurements{1.5F, 0, 0, 0}));
}

TEST(FeedParser, APutMayHaveAResultInWordsAndACode) {
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"result":"5 of 5 answered")")).measured,
            (Measurements{0, 0, 0, 0, "5 of 5 answered"}));
  EXPECT_EQ(parsed<Put>(tcpPut(R"(,"port":1,"errorCode":111,"result":"refused")")).measured,
            (Measurements{0, 0, 0, 0, "refused", 0, 111}));
  const std::string http = R"({"op":"put","host":"h","probe":"http","url":"u")";
  EXPECT_EQ(parsed<Put>(http + R"(,"statusCode":503,"result":""})").measured,
            (Measurements{0, 0, 0, 0, "", 503, 0}));
  EXPECT_EQ(errorOf(http + R"(,"statusCode":1000})"),
            "statusCode: must be a whole number from 0 to 999");
  EXPECT_EQ(errorOf(tcpPut(R"(,"port":1,"errorCode":4096)")),
            "errorCode: must be a whole number from 0 to 4095");
  EXPECT_EQ(errorOf(icmpPut(R"(,"statusCode":200)")), "statusCode: not a field of put");
  EXPECT_EQ(errorOf(icmpPut(",\"result\":\"" + std::string(256, 'x') + "\"")),
            "result: must have 0 to 255 bytes");
}

TEST(FeedParser, AbsentMeasurementsAreZero) {
  EXPECT_EQ(parsed<Put>(icmpPut("")).measured, Measurements{});
}

TEST(FeedParser, AnAbsentOrEmptyVrfIsTheDefaultOne) {
  EXPECT_EQ(parsed<Put>(icmpPut("")).key.at.vrf, "default");
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"vrf":"")")).key.at.vrf, "default");
}

TEST(FeedParser, AnAbsentOrEmptyInterfaceIsNoInterface) {
  EXPECT_EQ(parsed<Put>(icmpPut("")).key.interface, "");
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"interface":"")")).key.interface, "");
}

TEST(FeedParser, RemoveHasTheKeyFieldsOnly) {
  const auto remove =
      parsed<Remove>(R"({"op":"remove","host":"h","probe":"tcp","address":"::1","port":80})");
  EXPECT_EQ(remove.key,
            (ProbeKey{{"h", "default"}, "", TcpTarget{*Lintu::IpGenAddr::parse("::1"), 80}}));
  EXPECT_EQ(errorOf(R"({"op":"remove","host":"h","probe":"icmp","address":"::1","latency":1})"),
            "latency: not a field of remove");
}

TEST(FeedParser, RemoveHostHasAHostAndAVrf) {
  EXPECT_EQ(parsed<RemoveHost>(R"({"op":"removeHost","host":"h","vrf":"blue"})").at,
            (HostVrf{"h", "blue"}));
  EXPECT_EQ(parsed<RemoveHost>(R"({"op":"removeHost","host":"h"})").at, (HostVrf{"h", "default"}));
}

TEST(FeedParser, RemoveClientAndSyncHaveNoFields) {
  parsed<RemoveClient>(R"({"op":"removeClient"})");
  parsed<Sync>(R"({"op":"sync"})");
}

TEST(FeedParser, InspectionsHaveTheirPlaceAndPage) {
  const auto rows = std::get<ShowTables>(
      parsed<Inspection>(R"({"op":"tables","vrf":"blue","after":"icmp/k","limit":7})"));
  EXPECT_EQ(rows.vrf, "blue");
  EXPECT_EQ(rows.page.after, "icmp/k");
  EXPECT_EQ(rows.page.limit, 7U);
  const auto entity = std::get<ShowEntity>(
      parsed<Inspection>(R"({"op":"show","path":"snmp/ifMib","after":"x","limit":1})"));
  EXPECT_EQ(entity.path, "snmp/ifMib");
  EXPECT_EQ(entity.page.after, "x");
  const auto interfaces =
      std::get<ListInterfaces>(parsed<Inspection>(R"({"op":"interfaces","after":"eth1"})"));
  EXPECT_EQ(interfaces.page.after, "eth1");
}

TEST(FeedParser, InspectionsMayHaveNoFieldsAtAll) {
  const auto rows = std::get<ShowTables>(parsed<Inspection>(R"({"op":"tables"})"));
  EXPECT_EQ(rows.vrf, "default");
  EXPECT_EQ(rows.page.after, std::nullopt);
  EXPECT_EQ(rows.page.limit, kMaxPageItems);
  EXPECT_EQ(std::get<ShowEntity>(parsed<Inspection>(R"({"op":"show"})")).path, "");
  for (const char* op : {"stats", "vrfs", "clients", "interfaces"}) {
    parsed<Inspection>("{\"op\":\"" + std::string(op) + "\"}");
  }
}

TEST(FeedParser, WrongFieldsOfInspectionsAreRefusedByName) {
  EXPECT_EQ(errorOf(R"({"op":"tables","limit":0})"),
            "limit: must be a whole number from 1 to 1000");
  EXPECT_EQ(errorOf(R"({"op":"tables","limit":1001})"),
            "limit: must be a whole number from 1 to 1000");
  EXPECT_EQ(errorOf(R"({"op":"vrfs","limit":"1"})"), "limit: must be a number");
  EXPECT_EQ(errorOf(R"({"op":"tables","vrf":")" + std::string(33, 'v') + "\"}"),
            "vrf: must have 0 to 32 bytes");
  EXPECT_EQ(errorOf(R"({"op":"show","path":")" + std::string(4097, 'p') + "\"}"),
            "path: must have 0 to 4096 bytes");
  EXPECT_EQ(errorOf(R"({"op":"clients","after":1})"), "after: must be a string");
  EXPECT_EQ(errorOf(R"({"op":"stats","after":"x"})"), "after: not a field of stats");
  EXPECT_EQ(errorOf(R"({"op":"clients","vrf":"blue"})"), "vrf: not a field of clients");
}

TEST(FeedParser, FieldsMayStandInAnyOrderWithBlanksBetween) {
  EXPECT_EQ(parsed<Hello>("  { \"client\" :\t\"lab\" , \"op\": \"hello\" }\r").client, "lab");
}

TEST(FeedParser, StringsAreTakenAtTheirLongest) {
  const std::string host(255, 'h');
  const std::string vrf(32, 'v');
  const std::string intf(64, 'i');
  const auto put =
      parsed<Put>(R"({"op":"put","host":")" + host + R"(","vrf":")" + vrf + R"(","interface":")" +
                  intf + R"(","probe":"http","url":")" + host + R"("})");
  EXPECT_EQ(put.key, (ProbeKey{{host, vrf}, intf, HttpTarget{host}}));
}

TEST(FeedParser, LengthsCountBytesNotCharacters) {
  std::string host;
  for (int i = 0; i < 128; ++i) {
    host += "\u00e9";  // two bytes each
  }
  EXPECT_EQ(errorOf(R"({"op":"removeHost","host":")" + host + R"("})"),
            "host: must have 1 to 255 bytes");
}

// Numbers.

TEST(FeedParser, AMeasurementIsTheFloatNearestToItsTextNotToItsDouble) {
  // Just above the middle of two floats, but nearer to the middle than a double can tell: going
  // through a double would round down to the even float.
  const auto put = parsed<Put>(icmpPut(R"(,"latency":1.00000005960464477540)"));
  EXPECT_EQ(put.measured.latency, std::nextafter(1.0F, 2.0F));
}

TEST(FeedParser, MeasurementsReachTheEndsOfTheFloatRange) {
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"latency":3.4028234663852886e38)")).measured.latency,
            std::numeric_limits<float>::max());
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"latency":1e-45)")).measured.latency,
            std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"latency":1e-60)")).measured.latency, 0.0F);
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"latency":1e-400)")).measured.latency, 0.0F);
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"latency":18446744073709551615)")).measured.latency,
            18446744073709551615.0F);
}

TEST(FeedParser, ANegativeMeasurementIsTakenAsGiven) {
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"latency":-2.5,"jitter":-1)")).measured,
            (Measurements{-2.5F, -1.0F, 0, 0}));
}

TEST(FeedParser, ANumberBeyondTheFloatRangeIsRefused) {
  const std::string error = "latency: number out of range of a 32-bit float";
  EXPECT_EQ(errorOf(icmpPut(R"(,"latency":3.4028236e38)")), error);
  EXPECT_EQ(errorOf(icmpPut(R"(,"latency":-1e39)")), error);
  EXPECT_EQ(errorOf(tcpPut(R"(,"port":1,"latency":1e300)")), error);
  EXPECT_EQ(errorOf(icmpPut(R"(,"jitter":1e40)")), "jitter: number out of range of a 32-bit float");
}

TEST(FeedParser, ANumberBeyondTheDoubleRangeIsRefused) {
  EXPECT_EQ(errorOf(icmpPut(R"(,"latency":1e999)")), "latency: number out of range");
  EXPECT_EQ(errorOf(R"({"op":"hello","client":"c","holdSeconds":1e999})"),
            "holdSeconds: number out of range");
}

TEST(FeedParser, NumbersThatJsonDoesNotHaveAreRefused) {
  for (const char* number : {"NaN", "Infinity", "-Infinity", "+1", ".5", "1."}) {
    const std::string error = errorOf(icmpPut(std::string(R"(,"latency":)") + number));
    EXPECT_EQ(error.substr(0, 31), "latency: not valid JSON at byte") << number;
  }
}

TEST(FeedParser, ANumberWithSomethingBehindItIsRefused) {
  EXPECT_EQ(errorOf(icmpPut(R"(,"latency":01)")), "not valid JSON at byte 72");
  EXPECT_EQ(errorOf(icmpPut(R"(,"latency":0x10)")), "not valid JSON at byte 72");
}

TEST(FeedParser, PacketLossReachesFrom0To100AndMayHaveAFraction) {
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"packetLoss":0)")).measured.packetLoss, 0.0F);
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"packetLoss":33.3)")).measured.packetLoss, 33.3F);
  EXPECT_EQ(parsed<Put>(icmpPut(R"(,"packetLoss":100)")).measured.packetLoss, 100.0F);
}

TEST(FeedParser, PacketLossOutside0To100IsRefused) {
  EXPECT_EQ(errorOf(icmpPut(R"(,"packetLoss":-0.1)")), "packetLoss: must be from 0 to 100");
  EXPECT_EQ(errorOf(icmpPut(R"(,"packetLoss":100.1)")), "packetLoss: must be from 0 to 100");
  EXPECT_EQ(errorOf(icmpPut(R"(,"packetLoss":1e30)")), "packetLoss: must be from 0 to 100");
}

TEST(FeedParser, APortOutside1To65535IsRefused) {
  for (const char* port : {"0", "-1", "65536", "80.5", "1e30", "18446744073709551616"}) {
    EXPECT_EQ(errorOf(tcpPut(std::string(R"(,"port":)") + port)),
              "port: must be a whole number from 1 to 65535")
        << port;
  }
  EXPECT_EQ(std::get<TcpTarget>(parsed<Put>(tcpPut(R"(,"port":65535)")).key.target).port, 65535);
}

TEST(FeedParser, AnInterfaceIndexOutOfRangeIsRefused) {
  for (const char* index : {"0", "-1", "2147483648", "4294967296", "1.5"}) {
    EXPECT_EQ(errorOf(std::string(R"({"op":"interface","name":"e","ifIndex":)") + index + "}"),
              "ifIndex: must be a whole number from 1 to 2147483647")
        << index;
  }
}

TEST(FeedParser, ANegativeHoldTimeIsRefused) {
  EXPECT_EQ(errorOf(R"({"op":"hello","client":"c","holdSeconds":-0.001})"),
            "holdSeconds: must be 0 or more");
}

}  // namespace
}  // namespace Agent

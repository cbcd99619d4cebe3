#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpProbeEntry.h"

#include <gtest/gtest.h>

#include <limits>

#include "TablesForTest.h"

namespace ConnectivityMonitorSnmp {
namespace {

TEST(ProbeEntry, AnIcmpRowIsWhatItWasMadeOf) {
  const IcmpForTest::Arguments a;
  const auto row =
      icmpProbeEntryFactory(Snmp::String("k"), a.stats, a.client, a.host, a.ipAddr, a.ifIndex);
  EXPECT_EQ(row->indexShortName(), Snmp::String("k"));
  EXPECT_EQ(row->client(), "lab");
  EXPECT_EQ(row->host(), "web1");
  EXPECT_EQ(row->ipAddr(), a.ipAddr);
  EXPECT_EQ(row->ipAddrType(), 1U);
  EXPECT_EQ(row->ipAddrBytes().view(), std::string_view("\xc0\x00\x02\x0a", 4));
  EXPECT_EQ(row->ifIndex(), 7U);
  EXPECT_EQ(row->icmpStats(), a.stats);
  EXPECT_EQ(row->latency(), 12.345F);
  EXPECT_EQ(row->latencyValue(), 12345);
  EXPECT_EQ(row->latencyPrecision(), 3U);
  EXPECT_EQ(row->jitter(), 0.2F);
  EXPECT_EQ(row->jitterValue(), 2);
  EXPECT_EQ(row->jitterPrecision(), 1U);
  EXPECT_EQ(row->packetLoss(), 1);
  EXPECT_FALSE(row->is_linked());
  EXPECT_EQ(row->refs(), 1U);
}

TEST(ProbeEntry, AnHttpRowIsWhatItWasMadeOf) {
  const HttpForTest::Arguments a;
  const auto row =
      httpProbeEntryFactory(Snmp::String("k"), a.stats, a.client, a.host, a.url, a.ifIndex);
  EXPECT_EQ(row->indexShortName(), Snmp::String("k"));
  EXPECT_EQ(row->client(), "lab");
  EXPECT_EQ(row->host(), "web1");
  EXPECT_EQ(row->url(), "http://192.0.2.10/");
  EXPECT_EQ(row->ifIndex(), 7U);
  EXPECT_EQ(row->httpStats(), a.stats);
  EXPECT_EQ(row->responseTime(), 25.7F);
  EXPECT_EQ(row->responseTimeValue(), 257);
  EXPECT_EQ(row->responseTimePrecision(), 1U);
  EXPECT_FALSE(row->is_linked());
}

TEST(ProbeEntry, ATcpRowIsWhatItWasMadeOf) {
  TcpForTest::Arguments a;
  a.ipAddr = inetAddress("2001:db8::1");
  const auto row = tcpProbeEntryFactory(Snmp::String("k"), a.stats, a.client, a.host, a.ipAddr,
                                        a.ifIndex, a.port);
  EXPECT_EQ(row->indexShortName(), Snmp::String("k"));
  EXPECT_EQ(row->client(), "lab");
  EXPECT_EQ(row->host(), "web1");
  EXPECT_EQ(row->ipAddr(), a.ipAddr);
  EXPECT_EQ(row->ipAddrType(), 2U);
  EXPECT_EQ(row->ipAddrBytes().size(), 16U);
  EXPECT_EQ(row->ifIndex(), 7U);
  EXPECT_EQ(row->port(), 443U);
  EXPECT_EQ(row->tcpStats(), a.stats);
  EXPECT_EQ(row->latency(), 1.5F);
  EXPECT_EQ(row->latencyValue(), 15);
  EXPECT_EQ(row->latencyPrecision(), 1U);
  EXPECT_FALSE(row->is_linked());
}

TEST(ProbeEntry, TheFrameworksConstructorsTakeTheSameArguments) {
  const IcmpForTest::Arguments icmp;
  const HttpForTest::Arguments http;
  const TcpForTest::Arguments tcp;
  EXPECT_EQ(IcmpProbeEntryIs("k", icmp.stats, icmp.client, icmp.host, icmp.ipAddr, icmp.ifIndex)
                ->icmpStats(),
            icmp.stats);
  EXPECT_EQ(
      HttpProbeEntryIs("k", http.stats, http.client, http.host, http.url, http.ifIndex)->url(),
      http.url);
  EXPECT_EQ(
      TcpProbeEntryIs("k", tcp.stats, tcp.client, tcp.host, tcp.ipAddr, tcp.ifIndex, 80U)->port(),
      80U);
}

TEST(ProbeEntry, ARowKeepsItsRecordWhenTheOriginalChanges) {
  IcmpForTest::Arguments a;
  const auto row = IcmpProbeEntryIs("k", a.stats, a.client, a.host, a.ipAddr, a.ifIndex);
  a.stats.latency = 99;
  a.client = "other";
  EXPECT_EQ(row->latency(), 12.345F);
  EXPECT_EQ(row->client(), "lab");
}

TEST(ProbeEntry, TheLargestNumbersFit) {
  IcmpForTest::Arguments a;
  a.stats.packetLoss = 255;
  const auto row = IcmpProbeEntryIs("k", a.stats, a.client, a.host, Snmp::InetAddress(),
                                    std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(row->packetLoss(), 255);
  EXPECT_EQ(row->ifIndex(), 4'294'967'295U);
  EXPECT_EQ(row->ipAddrType(), 0U);
  EXPECT_TRUE(row->ipAddrBytes().empty());
}

}  // namespace
}  // namespace ConnectivityMonitorSnmp

// What runs for every column of every SNMP request allocates nothing.
#include <gtest/gtest.h>

#include <concepts>
#include <limits>

#include "AllocationCounter.h"
#include "TablesForTest.h"
#include "Trace/Trace.h"

namespace ConnectivityMonitorSnmp {
namespace {

constexpr float kMeasurements[] = {0.0F,
                                   12.345F,
                                   -2.5F,
                                   3000000.0F,
                                   std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN()};

/// Keeps results from being optimised away.
std::uint64_t sum = 0;
void use(std::integral auto number) { sum += static_cast<std::uint64_t>(number); }
void use(float number) { sum += number > 0 ? 1 : 0; }
void use(std::string_view text) { sum += text.size(); }

template <class Work>
std::size_t allocationsOf(Work work) {
  const std::size_t before = allocationCount();
  work();
  return allocationCount() - before;
}

TEST(Allocation, IsCountedAlsoInsideTheLibraries) {
  EXPECT_EQ(allocationsOf([] { const Pomel::String text("text"); }), 1U);
  EXPECT_GE(allocationsOf([] { static_cast<void>(connectivityMonitorMibFactory("blue")); }), 2U);
}

TEST(Allocation, TheConversionMakesNone) {
  EXPECT_EQ(allocationsOf([] {
              for (const float x : kMeasurements) {
                const FloatRepr repr = getFloatRepr(x);
                use(repr.value);
                use(repr.precision);
              }
            }),
            0U);
}

TEST(Allocation, TheAccessorsOfAnIcmpRowMakeNone) {
  for (const float x : kMeasurements) {
    IcmpForTest::Arguments a;
    a.stats.latency = x;
    a.stats.jitter = x;
    const auto row = IcmpProbeEntryIs("k", a.stats, a.client, a.host, a.ipAddr, a.ifIndex);
    EXPECT_EQ(allocationsOf([&] {
                use(row->indexShortName().view());
                use(row->client().view());
                use(row->host().view());
                use(row->ipAddr().type());
                use(row->ipAddrType());
                use(row->ipAddrBytes().view());
                use(row->ifIndex());
                use(row->icmpStats().packetLoss);
                use(row->latency());
                use(row->latencyPrecision());
                use(row->latencyValue());
                use(row->jitter());
                use(row->jitterPrecision());
                use(row->jitterValue());
                use(row->packetLoss());
              }),
              0U);
  }
}

TEST(Allocation, TheAccessorsOfAnHttpRowMakeNone) {
  for (const float x : kMeasurements) {
    HttpForTest::Arguments a;
    a.stats.responseTime = x;
    const auto row = HttpProbeEntryIs("k", a.stats, a.client, a.host, a.url, a.ifIndex);
    EXPECT_EQ(allocationsOf([&] {
                use(row->indexShortName().view());
                use(row->client().view());
                use(row->host().view());
                use(row->url().view());
                use(row->ifIndex());
                use(row->httpStats().statusCode);
                use(row->responseTime());
                use(row->responseTimePrecision());
                use(row->responseTimeValue());
              }),
              0U);
  }
}

TEST(Allocation, TheAccessorsOfATcpRowMakeNone) {
  for (const float x : kMeasurements) {
    TcpForTest::Arguments a;
    a.stats.latency = x;
    const auto row = TcpProbeEntryIs("k", a.stats, a.client, a.host, a.ipAddr, a.ifIndex, a.port);
    EXPECT_EQ(allocationsOf([&] {
                use(row->indexShortName().view());
                use(row->client().view());
                use(row->host().view());
                use(row->ipAddr().type());
                use(row->ipAddrType());
                use(row->ipAddrBytes().view());
                use(row->ifIndex());
                use(row->port());
                use(row->tcpStats().errorCode);
                use(row->latency());
                use(row->latencyPrecision());
                use(row->latencyValue());
              }),
              0U);
  }
}

TEST(Allocation, CopiesOfStringsRecordsAndRowsMakeNone) {
  const IcmpForTest::Arguments a;
  const auto row = IcmpProbeEntryIs("k", a.stats, a.client, a.host, a.ipAddr, a.ifIndex);
  EXPECT_EQ(allocationsOf([&] {
              const Pomel::String client = row->client();
              const ConnectivityMonitor::IcmpStats stats = row->icmpStats();
              const IcmpProbeEntry::Ptr copy = row;
              use(client.view());
              use(stats.packetLoss);
              use(copy->ifIndex());
            }),
            0U);
}

TEST(Allocation, FindingAndWalkingRowsMakesNone) {
  const auto mib = connectivityMonitorMibFactory("blue");
  for (const char* key : {"a", "b", "c"}) {
    IcmpForTest::is(*mib, key, {});
  }
  const Snmp::String key("b");
  EXPECT_EQ(allocationsOf([&] {
              use(mib->icmpTable().find(key)->ifIndex());
              const IcmpProbeEntry* row = mib->icmpTable().upperBound(key);
              use(row->ifIndex());
              use(mib->icmpTable().next(*row) == nullptr);
              for (const IcmpProbeEntry& each : mib->icmpTable()) {
                use(each.ifIndex());
              }
            }),
            0U);
}

TEST(Allocation, ADisabledTraceMakesNone) {
  const Trace::Handle handle("unit");
  const Pomel::String text("a text that would not fit into the text itself if it were formatted");
  EXPECT_EQ(allocationsOf([&] { handle.line(9, "{} {}", text.view(), 12.5); }), 0U);
}

}  // namespace
}  // namespace ConnectivityMonitorSnmp

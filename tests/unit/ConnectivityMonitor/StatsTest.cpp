#include "ConnectivityMonitor/Stats.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace ConnectivityMonitor {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

IcmpStats icmp() {
  return {.key = {"eth1", Lintu::IpGenAddr::ipv4({192, 0, 2, 1})},
          .result = "ok",
          .latency = 12.345F,
          .jitter = 0.2F,
          .lossRatio = 1.5F,
          .packetLoss = 2};
}
HttpStats http() {
  return {.key = {"eth1", "http://192.0.2.1/"},
          .result = "ok",
          .responseTime = 25.7F,
          .statusCode = 200};
}
TcpStats tcp() {
  return {.key = {"eth1", 443, Lintu::IpGenAddr::ipv4({192, 0, 2, 1})},
          .result = "ok",
          .latency = 1.5F,
          .errorCode = 0};
}

template <class Stats>
using Change = void (*)(Stats&);

template <class Stats>
void expectEveryFieldCounts(const Stats& stats, std::initializer_list<Change<Stats>> changes) {
  EXPECT_EQ(stats, Stats(stats));
  int number = 0;
  for (const Change<Stats> change : changes) {
    Stats other = stats;
    change(other);
    EXPECT_FALSE(stats == other) << "change " << number;
    EXPECT_FALSE(other == stats) << "change " << number;
    ++number;
  }
}

template <class Stats>
std::string text(const Stats& stats) {
  std::ostringstream out;
  out << stats;
  return out.str();
}

TEST(Stats, EveryFieldOfAnIcmpRecordCountsShownOrNot) {
  expectEveryFieldCounts<IcmpStats>(
      icmp(), {[](IcmpStats& s) { s.key.intfName = "eth2"; },
               [](IcmpStats& s) { s.key.ipAddr = {}; }, [](IcmpStats& s) { s.result = "late"; },
               [](IcmpStats& s) { s.latency = 12.346F; }, [](IcmpStats& s) { s.jitter = kNaN; },
               [](IcmpStats& s) { s.lossRatio = 1.6F; }, [](IcmpStats& s) { s.packetLoss = 3; }});
}

TEST(Stats, EveryFieldOfAnHttpRecordCountsShownOrNot) {
  expectEveryFieldCounts<HttpStats>(
      http(), {[](HttpStats& s) { s.key.intfName = ""; }, [](HttpStats& s) { s.key.url = "u"; },
               [](HttpStats& s) { s.result = ""; }, [](HttpStats& s) { s.responseTime = 0; },
               [](HttpStats& s) { s.statusCode = 404; }});
}

TEST(Stats, EveryFieldOfATcpRecordCountsShownOrNot) {
  expectEveryFieldCounts<TcpStats>(
      tcp(), {[](TcpStats& s) { s.key.intfName = ""; }, [](TcpStats& s) { s.key.port = 80; },
              [](TcpStats& s) { s.key.ipAddr = {}; }, [](TcpStats& s) { s.result = "no"; },
              [](TcpStats& s) { s.latency = -1.5F; }, [](TcpStats& s) { s.errorCode = 111; }});
}

TEST(Stats, ANaNEqualsANaNWhateverItsBits) {
  IcmpStats a = icmp();
  a.latency = a.jitter = a.lossRatio = kNaN;
  IcmpStats b = a;
  b.latency = -kNaN;
  b.jitter = std::numeric_limits<float>::signaling_NaN();
  EXPECT_EQ(a, b);
  b.jitter = 0;
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(b == a);
  HttpStats h = http();
  h.responseTime = kNaN;
  EXPECT_EQ(h, HttpStats(h));
  TcpStats t = tcp();
  t.latency = kNaN;
  EXPECT_EQ(t, TcpStats(t));
}

TEST(Stats, TheTwoZeroesAreOneAndTheInfinitiesAreTwo) {
  TcpStats a = tcp();
  TcpStats b = tcp();
  a.latency = 0.0F;
  b.latency = -0.0F;
  EXPECT_EQ(a, b);
  a.latency = std::numeric_limits<float>::infinity();
  b.latency = -a.latency;
  EXPECT_FALSE(a == b);
}

TEST(Stats, TextFormsAreTheFieldsInOrder) {
  EXPECT_EQ(text(icmp()), "eth1,192.0.2.1,ok,12.345,0.2,1.5,2");
  EXPECT_EQ(text(http()), "eth1,http://192.0.2.1/,ok,25.7,200");
  EXPECT_EQ(text(tcp()), "eth1,443,192.0.2.1,ok,1.5,0");
  EXPECT_EQ(text(IcmpStats()), ",,,0,0,0,0");
}

TEST(Stats, NumbersOutOfTheOrdinaryHaveTextsToo) {
  IcmpStats stats = icmp();
  stats.latency = kNaN;
  stats.jitter = -std::numeric_limits<float>::infinity();
  stats.packetLoss = 255;
  EXPECT_EQ(text(stats), "eth1,192.0.2.1,ok,nan,-inf,1.5,255");
}

}  // namespace
}  // namespace ConnectivityMonitor

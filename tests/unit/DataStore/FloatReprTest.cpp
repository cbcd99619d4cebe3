#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpFloatRepr.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <ostream>
#include <random>

#include "TablesForTest.h"
#include "tests/property/FloatReprReference.h"

namespace ConnectivityMonitorSnmp {

void PrintTo(const FloatRepr& repr, std::ostream* out) {
  *out << '(' << repr.value << ", " << repr.precision << ')';
}

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();

TEST(NumDigits, CountsDecimalDigitsWithoutTheSign) {
  EXPECT_EQ(numDigits(0), 1);
  EXPECT_EQ(numDigits(7), 1);
  EXPECT_EQ(numDigits(9), 1);
  EXPECT_EQ(numDigits(10), 2);
  EXPECT_EQ(numDigits(-9), 1);
  EXPECT_EQ(numDigits(-10), 2);
  EXPECT_EQ(numDigits(-1499), 4);
  EXPECT_EQ(numDigits(999'999'999), 9);
  EXPECT_EQ(numDigits(1'000'000'000), 10);
  EXPECT_EQ(numDigits(kLargest), 10);
  EXPECT_EQ(numDigits(kSmallest), 10);
}

TEST(TrimZeros, RemovesThreeZerosAtMost) {
  EXPECT_EQ(trimZeros(0), 0);
  EXPECT_EQ(trimZeros(7), 7);
  EXPECT_EQ(trimZeros(10), 1);
  EXPECT_EQ(trimZeros(1050), 105);
  EXPECT_EQ(trimZeros(12'000), 12);
  EXPECT_EQ(trimZeros(100'000), 100);
  EXPECT_EQ(trimZeros(1'000'000'000), 1'000'000);
  EXPECT_EQ(trimZeros(-2500), -25);
  EXPECT_EQ(trimZeros(-10'000), -10);
  EXPECT_EQ(trimZeros(-1499), -1499);
  EXPECT_EQ(trimZeros(kSmallest), kSmallest);
  EXPECT_EQ(trimZeros(kLargest), kLargest);
  EXPECT_EQ(trimZeros(-2'147'483'640), -214'748'364);
}

struct Example {
  float x;
  std::int32_t value;
  std::uint32_t precision;
};
void PrintTo(const Example& example, std::ostream* out) { *out << example.x; }

class ExampleTest : public testing::TestWithParam<Example> {};

TEST_P(ExampleTest, HasItsValueAndPrecision) {
  const auto [x, value, precision] = GetParam();
  EXPECT_EQ(getFloatRepr(x), (FloatRepr{value, precision}));
  EXPECT_EQ(floatValue(x), value);
  EXPECT_EQ(floatPrecision(x), precision);
}

INSTANTIATE_TEST_SUITE_P(Ordinary, ExampleTest,
                         testing::Values(Example{0.0F, 0, 0}, Example{0.1F, 1, 1},
                                         Example{0.5F, 5, 1}, Example{0.05F, 5, 2},
                                         Example{0.001F, 1, 3}, Example{0.0004F, 0, 0},
                                         Example{1.0F, 1, 0}, Example{1.5F, 15, 1},
                                         Example{12.345F, 12345, 3}, Example{12.3456F, 12346, 3},
                                         Example{12.0F, 12, 0}, Example{25.7F, 257, 1},
                                         Example{100.0F, 100, 0}, Example{1000.0F, 1000, 0},
                                         Example{0.9996F, 1, 0}, Example{0.0996F, 1, 1}));

// The roundings that make the pair read wrong are what managers know.
INSTANTIATE_TEST_SUITE_P(Disagreeing, ExampleTest,
                         testing::Values(Example{9.9996F, 10, 1}, Example{99.9999F, 100, 1},
                                         Example{0.0005F, 1, 0}));

INSTANTIATE_TEST_SUITE_P(Negative, ExampleTest,
                         testing::Values(Example{-0.0F, 0, 0}, Example{-0.5F, -499, 0},
                                         Example{-2.5F, -2499, 3}));

INSTANTIATE_TEST_SUITE_P(
    BeyondTheRange, ExampleTest,
    testing::Values(Example{3000000.0F, kSmallest, 3}, Example{2147483.0F, 2147483008, 3},
                    Example{2147483648.0F, kLargest, 0}, Example{kInfinity, kLargest, 0},
                    Example{std::numeric_limits<float>::max(), kLargest, 0},
                    Example{-kInfinity, kSmallest, 0}, Example{kNaN, kSmallest, 0},
                    Example{-kNaN, kSmallest, 0},
                    Example{std::numeric_limits<float>::lowest(), kSmallest, 0}));

TEST(FloatRepr, TheLargestFloatBelowTheBoundIsNoLongerTooLarge) {
  const float below = std::nextafter(2147483648.0F, 0.0F);
  EXPECT_EQ(below, 2147483520.0F);
  EXPECT_EQ(getFloatRepr(below), (FloatRepr{kSmallest, 0}));
}

/// Floats where something turns: each with its neighbours on both sides, of both signs.
std::vector<float> turningPoints() {
  std::vector<float> points = {kInfinity,
                               kNaN,
                               std::numeric_limits<float>::max(),
                               std::numeric_limits<float>::min(),
                               std::numeric_limits<float>::denorm_min(),
                               0.0F};
  const auto around = [&](double point) {
    const auto exact = static_cast<float>(point);
    points.insert(points.end(),
                  {exact, std::nextafter(exact, kInfinity), std::nextafter(exact, -kInfinity)});
  };
  for (double power = 1e-6; power < 1e12; power *= 10) {
    for (const double share : {1.0, 0.5, 0.9995, 0.9996, 0.99949, 1.0005, 2.0, 2.147483648}) {
      around(power * share);
    }
  }
  for (const double bound : {0x1p31, 0x1p31 / 1000, 0x1p24, 0x1p23, 0x1p31 - 0.5}) {
    around(bound);
  }
  for (int thousandth = 0; thousandth < 3000; ++thousandth) {
    around(thousandth / 1000.0);
    around((thousandth + 0.5) / 1000.0);
  }
  const std::size_t count = points.size();
  for (std::size_t at = 0; at < count; ++at) {
    points.push_back(-points[at]);
  }
  return points;
}

void expectAsDefined(float x) {
  const FloatRepr expected = Reference::floatRepr(x);
  ASSERT_EQ(getFloatRepr(x), expected) << x << " bits " << std::bit_cast<std::uint32_t>(x);
  ASSERT_EQ(floatValue(x), expected.value) << x;
  ASSERT_EQ(floatPrecision(x), expected.precision) << x;
}

TEST(FloatRepr, AgreesWithItsDefinitionWhereSomethingTurns) {
  for (const float x : turningPoints()) {
    ASSERT_NO_FATAL_FAILURE(expectAsDefined(x));
  }
}

TEST(FloatRepr, AgreesWithItsDefinitionAtEvery4096thBitPattern) {
  for (std::uint64_t bits = 0; bits <= std::numeric_limits<std::uint32_t>::max(); bits += 4096) {
    ASSERT_NO_FATAL_FAILURE(expectAsDefined(Reference::ofBits(static_cast<std::uint32_t>(bits))));
  }
}

TEST(FloatRepr, AgreesWithItsDefinitionAtRandomBitPatternsAndMeasurements) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> measurement(0.0F, 5000.0F);
  for (int i = 0; i < 200'000; ++i) {
    ASSERT_NO_FATAL_FAILURE(
        expectAsDefined(Reference::ofBits(static_cast<std::uint32_t>(random()))));
    ASSERT_NO_FATAL_FAILURE(expectAsDefined(measurement(random)));
  }
}

/// A measurement through the accessors of a row of each table.
void expectRowsShow(float x) {
  const FloatRepr expected = Reference::floatRepr(x);
  IcmpForTest::Arguments icmp;
  icmp.stats.latency = x;
  icmp.stats.jitter = -x;
  const FloatRepr expectedJitter = Reference::floatRepr(-x);
  const auto icmpRow =
      IcmpProbeEntryIs("k", icmp.stats, icmp.client, icmp.host, icmp.ipAddr, icmp.ifIndex);
  ASSERT_EQ((FloatRepr{icmpRow->latencyValue(), icmpRow->latencyPrecision()}), expected) << x;
  ASSERT_EQ((FloatRepr{icmpRow->jitterValue(), icmpRow->jitterPrecision()}), expectedJitter) << x;
  HttpForTest::Arguments http;
  http.stats.responseTime = x;
  const auto httpRow =
      HttpProbeEntryIs("k", http.stats, http.client, http.host, http.url, http.ifIndex);
  ASSERT_EQ((FloatRepr{httpRow->responseTimeValue(), httpRow->responseTimePrecision()}), expected)
      << x;
  TcpForTest::Arguments tcp;
  tcp.stats.latency = x;
  const auto tcpRow =
      TcpProbeEntryIs("k", tcp.stats, tcp.client, tcp.host, tcp.ipAddr, tcp.ifIndex, tcp.port);
  ASSERT_EQ((FloatRepr{tcpRow->latencyValue(), tcpRow->latencyPrecision()}), expected) << x;
}

TEST(FloatRepr, TheAccessorsOfARowAgreeWithTheDefinition) {
  for (const float x : turningPoints()) {
    ASSERT_NO_FATAL_FAILURE(expectRowsShow(x));
  }
  for (std::uint64_t bits = 0; bits <= std::numeric_limits<std::uint32_t>::max(); bits += 1 << 18) {
    ASSERT_NO_FATAL_FAILURE(expectRowsShow(Reference::ofBits(static_cast<std::uint32_t>(bits))));
  }
}

}  // namespace
}  // namespace ConnectivityMonitorSnmp

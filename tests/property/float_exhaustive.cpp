// Compares the conversion of measurements with its step-by-step definition for all 2^32 floats. It
// takes minutes, so it is no test of ctest's: run it by hand after a change to the conversion.
// Exit code 0 when all agree; prints the first difference of each thread otherwise.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "tests/property/FloatReprReference.h"

namespace {

using ConnectivityMonitorSnmp::floatPrecision;
using ConnectivityMonitorSnmp::FloatRepr;
using ConnectivityMonitorSnmp::floatValue;
using ConnectivityMonitorSnmp::getFloatRepr;
namespace Reference = ConnectivityMonitorSnmp::Reference;

constexpr std::uint64_t kFloats = std::uint64_t{1} << 32;
constexpr std::uint64_t kChunk = std::uint64_t{1} << 24;

struct Tally {
  std::uint64_t compared = 0;
  std::uint64_t different = 0;
};

void compare(std::uint32_t bits, Tally& tally) {
  const float x = Reference::ofBits(bits);
  const FloatRepr expected = Reference::floatRepr(x);
  ++tally.compared;
  if (getFloatRepr(x) == expected && floatValue(x) == expected.value &&
      floatPrecision(x) == expected.precision) {
    return;
  }
  if (tally.different++ == 0) {
    const FloatRepr got = getFloatRepr(x);
    std::printf("bits 0x%08x (%g): got (%d, %u), expected (%d, %u)\n", bits, static_cast<double>(x),
                got.value, got.precision, expected.value, expected.precision);
  }
}

}  // namespace

int main() {
  const auto begin = std::chrono::steady_clock::now();
  const unsigned threadCount = std::max(1U, std::thread::hardware_concurrency());
  std::atomic<std::uint64_t> nextChunk = 0;
  std::vector<Tally> tallies(threadCount);
  std::vector<std::thread> threads;
  for (Tally& tally : tallies) {
    threads.emplace_back([&nextChunk, &tally] {
      Tally mine;
      for (std::uint64_t from = nextChunk++ * kChunk; from < kFloats; from = nextChunk++ * kChunk) {
        for (std::uint64_t bits = from; bits < from + kChunk; ++bits) {
          compare(static_cast<std::uint32_t>(bits), mine);
        }
      }
      tally = mine;
    });
  }
  Tally all;
  for (unsigned i = 0; i < threadCount; ++i) {
    threads[i].join();
    all.compared += tallies[i].compared;
    all.different += tallies[i].different;
  }
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
  std::printf("%llu floats compared, %llu different, %lld s on %u threads\n",
              static_cast<unsigned long long>(all.compared),
              static_cast<unsigned long long>(all.different),
              static_cast<long long>(seconds.count()), threadCount);
  return all.compared == kFloats && all.different == 0 ? 0 : 1;
}

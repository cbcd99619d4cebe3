#include "Pomel/Hash.h"

#include <gtest/gtest.h>

#include <bit>
#include <set>

namespace Pomel {
namespace {

TEST(Hash, TheSeedAndEveryBitOfTheWordReachTheTopBits) {
  // The collections choose a chain by the top bits, so neighbours must part there.
  for (int bit = 0; bit < 64; ++bit) {
    const std::uint64_t flipped = std::uint64_t{1} << bit;
    EXPECT_NE(hashMix(0, 0) >> 32, hashMix(0, flipped) >> 32) << "bit " << bit << " of the word";
    EXPECT_NE(hashMix(0, 0) >> 32, hashMix(flipped, 0) >> 32) << "bit " << bit << " of the seed";
  }
}

TEST(Hash, FlippingOneBitFlipsAboutHalfOfTheResult) {
  int flips = 0;
  for (std::uint64_t word = 0; word < 1000; ++word) {
    flips += std::popcount(hashMix(7, word) ^ hashMix(7, word ^ (std::uint64_t{1} << (word % 64))));
  }
  // 32 of 64 on average; the bounds are more than ten standard deviations wide.
  EXPECT_GT(flips, 31'000);
  EXPECT_LT(flips, 33'000);
}

TEST(Hash, SmallNumbersFillTheTopEightBits) {
  std::set<std::uint64_t> chains;
  for (std::uint64_t word = 0; word < 4096; ++word) {
    chains.insert(hashMix(0, word) >> 56);
  }
  EXPECT_EQ(chains.size(), 256U);
}

TEST(Hash, OctetsAreHashedByContent) {
  const std::string a = "eth1";
  const std::string b = "eth1";
  EXPECT_EQ(hashBytes(3, a), hashBytes(3, b));
  EXPECT_NE(hashBytes(3, a), hashBytes(3, "eth2"));
  EXPECT_NE(hashBytes(3, a), hashBytes(4, a));
}

}  // namespace
}  // namespace Pomel

#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace Pomel {

/// Mixes one word into a running hash. Every input bit reaches every output bit (the finaliser is
/// the 64-bit one of MurmurHash3), which the collections need: they use the top bits.
[[nodiscard]] constexpr std::uint64_t hashMix(std::uint64_t seed, std::uint64_t word) noexcept {
  std::uint64_t h = (seed + 0x9e3779b97f4a7c15U) ^ word;
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdU;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53U;
  return h ^ (h >> 33);
}

[[nodiscard]] inline std::uint64_t hashBytes(std::uint64_t seed, std::string_view bytes) noexcept {
  return hashMix(seed, std::hash<std::string_view>{}(bytes));
}

}  // namespace Pomel

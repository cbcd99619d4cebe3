#pragma once

#include <compare>
#include <cstdint>
#include <ostream>
#include <string>

#include "Pomel/Hash.h"
#include "Pomel/String.h"

// Keys whose hashes are good, poor and worthless. Each is made from a number.
namespace Properties {

struct SpreadKey {
  int number;
  explicit SpreadKey(int from) : number(from) {}
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const {
    return Pomel::hashMix(seed, static_cast<std::uint64_t>(number));
  }
  friend auto operator<=>(const SpreadKey&, const SpreadKey&) = default;
};

/// Three hashes in all: two at the ends of the range.
struct CrowdedKey {
  int number;
  explicit CrowdedKey(int from) : number(from) {}
  [[nodiscard]] std::uint64_t hash(std::uint64_t /*seed*/) const {
    return number % 3 == 0 ? 0 : number % 3 == 1 ? ~std::uint64_t{0} : std::uint64_t{1} << 62;
  }
  friend auto operator<=>(const CrowdedKey&, const CrowdedKey&) = default;
};

struct ClashingKey {
  int number;
  explicit ClashingKey(int from) : number(from) {}
  [[nodiscard]] static std::uint64_t hash(std::uint64_t /*seed*/) { return 0; }
  friend auto operator<=>(const ClashingKey&, const ClashingKey&) = default;
};

struct TextKey : Pomel::String {
  explicit TextKey(int from) : Pomel::String("key " + std::to_string(from)) {}
};

template <class Key>
requires requires(const Key& key) { key.number; }
std::ostream& operator<<(std::ostream& out, const Key& key) { return out << key.number; }

/// The documented order of a walk.
template <class Key>
bool walkedBefore(const Key& a, const Key& b) {
  const std::uint64_t hashA = a.hash(0) >> 32;
  const std::uint64_t hashB = b.hash(0) >> 32;
  return hashA != hashB ? hashA < hashB : a < b;
}

}  // namespace Properties

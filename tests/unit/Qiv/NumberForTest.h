#pragma once

#include <compare>
#include <cstdint>

#include "Pomel/Hash.h"

namespace Qiv {

/// A key of which a test can have as many as it likes, spread by a good hash.
struct Number {
  int value;
  [[nodiscard]] std::uint64_t hash(std::uint64_t seed) const {
    return Pomel::hashMix(seed, static_cast<std::uint64_t>(value));
  }
  friend auto operator<=>(const Number&, const Number&) = default;
};

}  // namespace Qiv

#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpFloatRepr.h"

// The conversion of measurements once more, step by step and by other means than the product's: in
// exact double precision, rounded to single precision where the definition says so. (A product or a
// sum of two floats is rounded right when it is first rounded to a double: 53 >= 2 * 24 + 2.)
namespace ConnectivityMonitorSnmp::Reference {

/// Rounds to single precision; what is beyond becomes an infinity.
inline float toSingle(double number) {
  if (std::abs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
    // Halfway to the next power of two and beyond rounds away, less rounds back.
    const double limit = 0x1.ffffffp127;
    const float magnitude = std::abs(number) >= limit ? std::numeric_limits<float>::infinity()
                                                      : std::numeric_limits<float>::max();
    return std::copysign(magnitude, number < 0 ? -1.0F : 1.0F);
  }
  return static_cast<float>(number);
}

inline std::int64_t truncated(double number) {
  const double whole = std::trunc(number);
  if (std::isnan(whole) || whole > 2147483647.0 || whole < -2147483648.0) {
    return -2147483648;
  }
  return static_cast<std::int64_t>(whole);
}

inline std::int64_t rounded(float number) {
  const float product = toSingle(static_cast<double>(number) * 1000.0);
  return truncated(static_cast<double>(product) + 0.5);
}

inline std::int64_t trimmed(std::int64_t number) {
  for (const std::int64_t unit : {1000, 100, 10}) {
    if (number % unit == 0) {
      return number / unit;
    }
  }
  return number;
}

inline std::int64_t digits(std::int64_t number) {
  const std::int64_t magnitude = number < 0 ? -number : number;
  std::int64_t count = 1;
  for (std::int64_t bound = 10; bound <= magnitude; bound *= 10) {
    ++count;
  }
  return count;
}

inline FloatRepr floatRepr(float x) {
  if (x >= 0x1p31F) {
    return {2147483647, 0};
  }
  const float y = x < 1.0F ? toSingle(static_cast<double>(x) + 1.0) : x;
  const std::int64_t precision =
      digits(trimmed(rounded(y))) - digits(truncated(static_cast<double>(y)));
  return {static_cast<std::int32_t>(trimmed(rounded(x))), static_cast<std::uint32_t>(precision)};
}

inline float ofBits(std::uint32_t bits) { return std::bit_cast<float>(bits); }

}  // namespace ConnectivityMonitorSnmp::Reference

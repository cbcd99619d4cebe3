#pragma once

#include <cstdint>

namespace ConnectivityMonitorSnmp {

/// A measurement as SNMP carries it: value x 10^-precision.
struct FloatRepr {
  std::int32_t value;
  std::uint32_t precision;

  friend bool operator==(const FloatRepr&, const FloatRepr&) = default;
};

/// The number of decimal digits of `n`, its sign not counted; 1 for 0.
[[nodiscard]] std::int32_t numDigits(std::int32_t n);

/// `n` without its trailing decimal zeros, at most three of them: 12000 -> 12, 100000 -> 100.
[[nodiscard]] std::int32_t trimZeros(std::int32_t n);

/// Converts a measurement, three decimals at most. Value and precision come from two separate
/// roundings (the precision from x + 1 where x < 1, so that leading zeros count), and where they
/// disagree the pair reads wrong: 9.9996 is (10, 1). Managers rely on these very numbers.
/// Total: every float has a pair; x >= 2^31 is (2147483647, 0), and what does not fit 32 bits once
/// multiplied by 1000, or is no number, counts as -2147483648.
[[nodiscard]] FloatRepr getFloatRepr(float x);

/// The halves of getFloatRepr, for columns that need only one.
[[nodiscard]] std::int32_t floatValue(float x);
[[nodiscard]] std::uint32_t floatPrecision(float x);

}  // namespace ConnectivityMonitorSnmp

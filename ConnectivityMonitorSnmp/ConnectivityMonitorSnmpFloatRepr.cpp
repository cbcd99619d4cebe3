#include "ConnectivityMonitorSnmp/ConnectivityMonitorSnmpFloatRepr.h"

#include <limits>

namespace ConnectivityMonitorSnmp {

namespace {

constexpr float kTooLarge = 2147483648.0F;

/// Truncates toward zero; what has no 32-bit result, NaN included, gives the smallest number.
template <class Float>
std::int32_t truncate(Float x) {
  constexpr Float kLimit = 2147483648;
  // Both comparisons fail for a NaN.
  const bool fits = x < kLimit && x >= -kLimit;
  return fits ? static_cast<std::int32_t>(x) : std::numeric_limits<std::int32_t>::min();
}

/// Thousandths, rounded half up. The product is rounded to single precision first.
std::int32_t thousandths(float x) {
  const float product = x * 1000.0F;
  return truncate(static_cast<double>(product) + 0.5);
}

}  // namespace

std::int32_t numDigits(std::int32_t n) {
  std::int32_t count = 1;
  for (std::int32_t q = n / 10; q != 0; q /= 10) {
    ++count;
  }
  return count;
}

std::int32_t trimZeros(std::int32_t n) {
  for (int divisions = 0; divisions < 3 && n % 10 == 0; ++divisions) {
    n /= 10;
  }
  return n;
}

std::int32_t floatValue(float x) {
  if (x >= kTooLarge) {
    return std::numeric_limits<std::int32_t>::max();
  }
  return trimZeros(thousandths(x));
}

std::uint32_t floatPrecision(float x) {
  if (x >= kTooLarge) {
    return 0;
  }
  const float shifted = 1.0F > x ? x + 1.0F : x;
  return static_cast<std::uint32_t>(numDigits(trimZeros(thousandths(shifted))) -
                                    numDigits(truncate(shifted)));
}

FloatRepr getFloatRepr(float x) { return {floatValue(x), floatPrecision(x)}; }

}  // namespace ConnectivityMonitorSnmp

// SPDX-License-Identifier: Apache-2.0
#include "value/NumberConversion.h"

#include <cmath>
#include <limits>

namespace vanto {

namespace {

/// 2 to the power of 63: the first real beyond the 64-bit integers. Its negative is the least of them.
constexpr double integerEnd = 9223372036854775808.0;

/// Half-way between the greatest float and the next one there would be: from here on rounding gives infinity.
constexpr double floatEnd = 0x1.ffffffp+127;

}  // namespace

std::int64_t NumberConversion::toInteger(double real) noexcept {
  if (std::isnan(real)) return 0;
  if (real >= integerEnd) return std::numeric_limits<std::int64_t>::max();
  if (real < -integerEnd) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(real);
}

float NumberConversion::toFloat(double real) noexcept {
  if (std::fabs(real) >= floatEnd) {
    return std::copysign(std::numeric_limits<float>::infinity(), static_cast<float>(std::copysign(1.0, real)));
  }
  return static_cast<float>(real);
}

bool NumberConversion::areEqual(std::int64_t integer, double real) noexcept {
  // Inside the range the conversion to integer only cuts a fraction, which shows on the way back.
  if (!(real >= -integerEnd && real < integerEnd)) return false;
  const auto cut = static_cast<std::int64_t>(real);
  return cut == integer && static_cast<double>(cut) == real;
}

bool NumberConversion::areEqual(double left, double right) noexcept {
  return left == right || (std::isnan(left) && std::isnan(right));
}

}  // namespace vanto

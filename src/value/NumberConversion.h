// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto {

/// Conversions between the two ways in which numbers are stored, 64-bit integers and 64-bit floats, without undefined
/// cases.
struct NumberConversion {
  /// Cut towards zero, and to the range of the type; NaN is 0.
  [[nodiscard]] static std::int64_t toInteger(double real) noexcept;
  /// Rounded to nearest; what is beyond the range becomes an infinity.
  [[nodiscard]] static float toFloat(double real) noexcept;
  /// True when the two are exactly the same number.
  [[nodiscard]] static bool areEqual(std::int64_t integer, double real) noexcept;
  /// The same; NaN equals NaN.
  [[nodiscard]] static bool areEqual(double left, double right) noexcept;
};

}  // namespace vanto

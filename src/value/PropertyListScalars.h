// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The texts that stand for numbers, dates and bytes in a property list. Each parse function takes the whole text of an
/// element and gives null, or the place in it (its end included) where it stops being one; the result is then
/// untouched.
namespace vanto::scalars {

/// Decimal digits, a sign may go before.
[[nodiscard]] const char* parseInteger(std::string_view text, std::int64_t& value) noexcept;

/// Decimal digits with an optional sign, fraction and exponent, or nan, inf, -inf. Rounded to the nearest number that a
/// 64-bit float holds; what rounds to infinity, or to zero without being zero, is refused.
[[nodiscard]] const char* parseReal(std::string_view text, double& value) noexcept;

/// YYYY-MM-DDThh:mm:ssZ, a time that exists; seconds since 1970-01-01T00:00:00Z.
[[nodiscard]] const char* parseDate(std::string_view text, std::int64_t& seconds) noexcept;

/// The times that a date can name: those of the years 1 to 9999.
inline constexpr std::int64_t firstSecond = -62'135'596'800;
inline constexpr std::int64_t lastSecond = 253'402'300'799;

// Each writes to `to`, which has room for longestScalar bytes, and gives the place behind what it wrote.
inline constexpr std::size_t longestScalar = 32;
[[nodiscard]] char* writeInteger(std::int64_t value, char* to) noexcept;
/// The shortest text that reads back equal.
[[nodiscard]] char* writeReal(double value, char* to) noexcept;
/// `seconds` lies between firstSecond and lastSecond.
[[nodiscard]] char* writeDate(std::int64_t seconds, char* to) noexcept;

}  // namespace vanto::scalars

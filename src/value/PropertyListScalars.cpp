// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListScalars.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace vanto::scalars {

namespace {

constexpr std::int64_t secondsPerDay = 86'400;

bool isDigit(char byte) noexcept {
  return byte >= '0' && byte <= '9';
}

const char* skipDigits(const char* at, const char* end) noexcept {
  while (at != end && isDigit(*at)) ++at;
  return at;
}

// The powers of ten that a 64-bit float holds exactly.
constexpr double exactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                  1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// The parts of a decimal number, without its sign.
struct Decimal {
  const char* first;
  const char* end;
  std::uint64_t digits = 0;
  std::size_t digitCount = 0;
  std::size_t fractionCount = 0;
  bool hasExponent = false;
};

// Takes in the digits at `at`; more than 19 overflow `digits`, which is then not used.
const char* takeDigits(Decimal& decimal, const char* at, const char* end) noexcept {
  const char* first = at;
  for (; at != end && isDigit(*at); ++at) decimal.digits = decimal.digits * 10 + static_cast<unsigned>(*at - '0');
  decimal.digitCount += static_cast<std::size_t>(at - first);
  return at;
}

// Reads a decimal number; gives null, or the place of the mistake.
const char* readDecimal(Decimal& decimal) noexcept {
  const char* end = decimal.end;
  const char* at = takeDigits(decimal, decimal.first, end);
  if (at != end && *at == '.') {
    const char* fraction = at + 1;
    at = takeDigits(decimal, fraction, end);
    decimal.fractionCount = static_cast<std::size_t>(at - fraction);
  }
  if (decimal.digitCount == 0) return at;
  if (at != end && (*at == 'e' || *at == 'E')) {
    decimal.hasExponent = true;
    if (++at != end && (*at == '-' || *at == '+')) ++at;
    if (at == end || !isDigit(*at)) return at;
    at = skipDigits(at, end);
  }
  return at == end ? nullptr : at;
}

bool hasOnlyZeros(const Decimal& decimal) noexcept {
  for (const char* at = decimal.first; at != decimal.end && *at != 'e' && *at != 'E'; ++at) {
    if (*at != '0' && *at != '.') return false;
  }
  return true;
}

// The number nearest to `decimal`; false when there is none.
bool toReal(const Decimal& decimal, double& value) noexcept {
  constexpr std::uint64_t exact = std::uint64_t{1} << 53;
  if (!decimal.hasExponent && decimal.digitCount <= 19 && decimal.digits <= exact) {
    // Both operands are exact, so the division rounds once, as it should.
    value = static_cast<double>(decimal.digits) / exactPowers[decimal.fractionCount];
    return true;
  }
  double read = 0;
  const auto [behind, status] = std::from_chars(decimal.first, decimal.end, read);
  const bool zero = hasOnlyZeros(decimal);
  // Implementations differ in how they report numbers that are too large or too small; this tells alike for all.
  if (zero) read = 0;
  if (!zero && (status != std::errc() || behind != decimal.end || std::isinf(read) || read == 0)) return false;
  value = read;
  return true;
}

// Days from 1970-01-01 to the first day of a year from 1 on.
constexpr std::int64_t daysBeforeYear(std::int64_t year) noexcept {
  const std::int64_t past = year - 1;
  return past * 365 + past / 4 - past / 100 + past / 400 - 719'162;
}

constexpr bool isLeapYear(std::int64_t year) noexcept {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Days from the first day of a year to the first day of each month, and of the next year.
constexpr int daysBeforeMonth[2][13] = {{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
                                        {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366}};

int twoDigits(const char* at) noexcept {
  return (at[0] - '0') * 10 + (at[1] - '0');
}

void writeDigits(int value, char* to, int count) noexcept {
  for (int index = count - 1; index >= 0; --index, value /= 10) to[index] = static_cast<char>('0' + value % 10);
}

}  // namespace

const char* parseInteger(std::string_view text, std::int64_t& value) noexcept {
  const char* at = text.data();
  const char* end = at + text.size();
  const bool negative = at != end && *at == '-';
  if (at != end && (*at == '-' || *at == '+')) ++at;
  if (at == end) return at;
  const std::uint64_t limit = std::uint64_t{std::numeric_limits<std::int64_t>::max()} + (negative ? 1 : 0);
  std::uint64_t magnitude = 0;
  for (; at != end; ++at) {
    if (!isDigit(*at)) return at;
    const auto digit = static_cast<unsigned>(*at - '0');
    if (magnitude > (limit - digit) / 10) return at;
    magnitude = magnitude * 10 + digit;
  }
  value = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
  return nullptr;
}

const char* parseReal(std::string_view text, double& value) noexcept {
  if (text == "nan" || text == "inf" || text == "-inf") {
    const double infinity = std::numeric_limits<double>::infinity();
    value = text == "nan" ? std::numeric_limits<double>::quiet_NaN() : text == "inf" ? infinity : -infinity;
    return nullptr;
  }
  const char* at = text.data();
  const char* end = at + text.size();
  const bool negative = at != end && *at == '-';
  if (at != end && (*at == '-' || *at == '+')) ++at;
  Decimal decimal{at, end};
  if (const char* mistake = readDecimal(decimal); mistake != nullptr) return mistake;
  double magnitude = 0;
  if (!toReal(decimal, magnitude)) return text.data();
  value = negative ? -magnitude : magnitude;
  return nullptr;
}

const char* parseDate(std::string_view text, std::int64_t& seconds) noexcept {
  constexpr std::string_view form = "0000-00-00T00:00:00Z";
  const char* at = text.data();
  for (std::size_t index = 0; index < form.size(); ++index) {
    const bool fits = index < text.size() && (form[index] == '0' ? isDigit(at[index]) : at[index] == form[index]);
    if (!fits) return at + index;
  }
  if (text.size() != form.size()) return at + form.size();
  const int year = twoDigits(at) * 100 + twoDigits(at + 2);
  const int month = twoDigits(at + 5);
  const int day = twoDigits(at + 8);
  if (year == 0) return at;
  if (month < 1 || month > 12) return at + 5;
  const int* before = daysBeforeMonth[isLeapYear(year) ? 1 : 0] + month - 1;
  if (day < 1 || day > before[1] - before[0]) return at + 8;
  const int hour = twoDigits(at + 11);
  const int minute = twoDigits(at + 14);
  const int second = twoDigits(at + 17);
  if (hour > 23) return at + 11;
  if (minute > 59) return at + 14;
  if (second > 59) return at + 17;
  seconds = (daysBeforeYear(year) + before[0] + day - 1) * secondsPerDay + hour * 3600 + minute * 60 + second;
  return nullptr;
}

char* writeInteger(std::int64_t value, char* to) noexcept {
  return std::to_chars(to, to + longestScalar, value).ptr;
}

char* writeReal(double value, char* to) noexcept {
  const std::string_view name = std::isnan(value) ? "nan" : std::isinf(value) ? (value < 0 ? "-inf" : "inf") : "";
  if (name.empty()) return std::to_chars(to, to + longestScalar, value).ptr;
  std::memcpy(to, name.data(), name.size());
  return to + name.size();
}

char* writeDate(std::int64_t seconds, char* to) noexcept {
  const std::int64_t sinceFirst = seconds - firstSecond;
  const std::int64_t days = sinceFirst / secondsPerDay + daysBeforeYear(1);
  const int time = static_cast<int>(sinceFirst % secondsPerDay);
  // The mean year has 365.2425 days; the guess is at most one year late or early.
  std::int64_t year = (days - daysBeforeYear(1)) * 400 / 146'097 + 1;
  while (daysBeforeYear(year) > days) --year;
  while (daysBeforeYear(year + 1) <= days) ++year;
  const int dayOfYear = static_cast<int>(days - daysBeforeYear(year));
  const int* before = daysBeforeMonth[isLeapYear(year) ? 1 : 0];
  int month = 1;
  while (before[month] <= dayOfYear) ++month;
  std::memcpy(to, "0000-00-00T00:00:00Z", 20);
  writeDigits(static_cast<int>(year), to, 4);
  writeDigits(month, to + 5, 2);
  writeDigits(dayOfYear - before[month - 1] + 1, to + 8, 2);
  writeDigits(time / 3600, to + 11, 2);
  writeDigits(time / 60 % 60, to + 14, 2);
  writeDigits(time % 60, to + 17, 2);
  return to + 20;
}

}  // namespace vanto::scalars

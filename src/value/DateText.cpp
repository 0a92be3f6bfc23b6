// SPDX-License-Identifier: Apache-2.0
#include "value/DateText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "value/NumberText.h"

namespace vanto {

namespace {

/// From here on doubles do not tell two neighbouring seconds apart.
constexpr double firstUnclear = 9007199254740992.0;

constexpr std::int64_t secondsPerDay = 86400;
/// Days of the 400 years after which the calendar repeats.
constexpr std::int64_t daysPerEra = 146097;
/// Days from the 1st of March of year 0 to the 1st of January 1970.
constexpr std::int64_t daysBefore1970 = 719468;

struct CalendarDay {
  std::int64_t year;
  unsigned month;
  unsigned day;
};

std::int64_t floorDivide(std::int64_t dividend, std::int64_t divisor) noexcept {
  return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

/// The Gregorian calendar day that many days after 1970-01-01. Years are counted from March meanwhile, so that the leap
/// day is a year's last.
CalendarDay calendarDay(std::int64_t daysSince1970) noexcept {
  const std::int64_t days = daysSince1970 + daysBefore1970;
  const std::int64_t era = floorDivide(days, daysPerEra);
  const std::int64_t dayOfEra = days - era * daysPerEra;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  // Months from March have 31, 30, 31, 30, 31 days, over and over: 153 days for each five.
  const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
  const std::int64_t day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
  const std::int64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  return {era * 400 + yearOfEra + (month <= 2 ? 1 : 0), static_cast<unsigned>(month), static_cast<unsigned>(day)};
}

void appendSecond(PlistMutableString& text, std::int64_t secondsSince1970) {
  const std::int64_t days = floorDivide(secondsSince1970, secondsPerDay);
  const auto second = static_cast<unsigned>(secondsSince1970 - days * secondsPerDay);
  const CalendarDay day = calendarDay(days);
  char buffer[64];
  const int length = std::snprintf(buffer, sizeof buffer, "%s%04lld-%02u-%02uT%02u:%02u:%02u", day.year < 0 ? "-" : "",
                                   static_cast<long long>(day.year < 0 ? -day.year : day.year), day.month, day.day,
                                   second / 3600, second / 60 % 60, second % 60);
  text.append({buffer, static_cast<std::size_t>(length)});
}

/// Digits behind the decimal point. For a time before 1970 they count up from the second before it, so they are the
/// complement of those of the number.
void appendFraction(PlistMutableString& text, double seconds) {
  // Enough for the smallest number, whose one digit other than 0 is the 324th.
  char buffer[512];
  const char* end = std::to_chars(std::begin(buffer), std::end(buffer), seconds, std::chars_format::fixed).ptr;
  std::string_view digits(buffer, static_cast<std::size_t>(end - buffer));
  digits.remove_prefix(digits.find('.'));
  char* const first = buffer + (digits.data() - buffer);
  if (seconds < 0) {
    char* const last = first + digits.size() - 1;
    for (char* digit = first + 1; digit != last; ++digit) *digit = static_cast<char>('0' + '9' - *digit);
    *last = static_cast<char>('0' + ('9' + 1) - *last);
  }
  text.append(digits);
}

}  // namespace

Ref<PlistString> DateText::create(double secondsSince1970) {
  Ref<PlistMutableString> text = PlistMutableString::create();
  if (std::fabs(secondsSince1970) < firstUnclear) {
    const double second = std::floor(secondsSince1970);
    appendSecond(*text, static_cast<std::int64_t>(second));
    if (second != secondsSince1970) appendFraction(*text, secondsSince1970);
    text->append("Z");
  } else {
    text->append(std::isnan(secondsSince1970) ? "nan" : NumberText(secondsSince1970).text());
    text->append(" seconds since 1970");
  }
  return text;
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "value/DateText.h"

#include <chrono>
#include <cstdio>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string text(double seconds) {
  return std::string(vanto::DateText::create(seconds)->text());
}

TEST(DateText, PrintsWholeSeconds) {
  EXPECT_EQ(text(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(text(1795248000), "2026-11-21T08:00:00Z");
  EXPECT_EQ(text(951782399), "2000-02-28T23:59:59Z");
  EXPECT_EQ(text(951782400), "2000-02-29T00:00:00Z");
  EXPECT_EQ(text(-1), "1969-12-31T23:59:59Z");
  EXPECT_EQ(text(-2203891200), "1900-03-01T00:00:00Z");
  EXPECT_EQ(text(-2203891201), "1900-02-28T23:59:59Z");
}

TEST(DateText, AgreesWithTheCalendarOfTheStandardLibrary) {
  using namespace std::chrono;
  // Somewhat less than a month apart, over 2,400 years, so that each day of a month comes up.
  for (sys_days day = year{300} / January / 1; day < sys_days(year{2700} / January / 1); day += days{29}) {
    const year_month_day date(day);
    char expected[32];
    std::snprintf(expected, sizeof expected, "%04d-%02u-%02uT00:00:00Z", int{date.year()}, unsigned{date.month()},
                  unsigned{date.day()});
    EXPECT_EQ(text(static_cast<double>(duration_cast<seconds>(day.time_since_epoch()).count())), expected);
  }
}

TEST(DateText, PrintsFractionsOfASecondInFewDigits) {
  EXPECT_EQ(text(0.5), "1970-01-01T00:00:00.5Z");
  EXPECT_EQ(text(1795248000.1), "2026-11-21T08:00:00.1Z");
  EXPECT_EQ(text(1795248059.875), "2026-11-21T08:00:59.875Z");
  EXPECT_EQ(text(1e-7), "1970-01-01T00:00:00.0000001Z");
}

TEST(DateText, CountsFractionsUpBefore1970) {
  EXPECT_EQ(text(-0.5), "1969-12-31T23:59:59.5Z");
  EXPECT_EQ(text(-0.25), "1969-12-31T23:59:59.75Z");
  EXPECT_EQ(text(-1.001), "1969-12-31T23:59:58.999Z");
  EXPECT_EQ(text(-1e-10), "1969-12-31T23:59:59.9999999999Z");
}

TEST(DateText, PrintsTheSmallestTimesInFull) {
  const double smallest = std::numeric_limits<double>::denorm_min();
  EXPECT_EQ(text(smallest), "1970-01-01T00:00:00." + std::string(323, '0') + "5Z");
  EXPECT_EQ(text(-smallest), "1969-12-31T23:59:59." + std::string(323, '9') + "5Z");
}

TEST(DateText, PrintsYearsOutsideFourDigits) {
  EXPECT_EQ(text(253402300799), "9999-12-31T23:59:59Z");
  EXPECT_EQ(text(253402300800), "10000-01-01T00:00:00Z");
  EXPECT_EQ(text(-62167219200), "0000-01-01T00:00:00Z");
  EXPECT_EQ(text(-62167219201), "-0001-12-31T23:59:59Z");
}

TEST(DateText, PrintsTimesBeyondAllCalendarsAsNumbers) {
  EXPECT_EQ(text(9007199254740991), "285428751-11-12T07:36:31Z");
  EXPECT_EQ(text(9007199254740992), "9007199254740992 seconds since 1970");
  EXPECT_EQ(text(-1e300), "-1e+300 seconds since 1970");
  EXPECT_EQ(text(std::numeric_limits<double>::infinity()), "inf seconds since 1970");
  EXPECT_EQ(text(-std::numeric_limits<double>::quiet_NaN()), "nan seconds since 1970");
}

}  // namespace

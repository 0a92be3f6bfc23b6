// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListScalars.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <ctime>
#include <limits>
#include <random>
#include <string>

namespace vanto {
namespace {

constexpr std::int64_t untouched = 123456789;

// The value as text, or "at N" with the offset of the mistake.
template <typename Value>
std::string result(const char* mistake, std::string_view text, Value value, Value before) {
  if (mistake == nullptr) return std::to_string(value);
  EXPECT_EQ(value, before);
  return "at " + std::to_string(mistake - text.data());
}

std::string integer(std::string_view text) {
  std::int64_t value = untouched;
  const char* mistake = scalars::parseInteger(text, value);
  return result(mistake, text, value, untouched);
}

std::string date(std::string_view text) {
  std::int64_t value = untouched;
  const char* mistake = scalars::parseDate(text, value);
  return result(mistake, text, value, untouched);
}

bool isReal(std::string_view text) {
  double value = 0;
  return scalars::parseReal(text, value) == nullptr;
}

double real(std::string_view text) {
  double value = 0;
  EXPECT_EQ(scalars::parseReal(text, value), nullptr) << text;
  return value;
}

template <typename Value>
std::string written(char* (*write)(Value, char*) noexcept, Value value) {
  char text[scalars::longestScalar];
  return {text, write(value, text)};
}

TEST(PropertyListIntegers, AreDecimalWithAnOptionalSign) {
  EXPECT_EQ(integer("0"), "0");
  EXPECT_EQ(integer("42"), "42");
  EXPECT_EQ(integer("-42"), "-42");
  EXPECT_EQ(integer("+42"), "42");
  EXPECT_EQ(integer("-0"), "0");
  EXPECT_EQ(integer("000000000000000000000000000042"), "42");
}

TEST(PropertyListIntegers, ReachExactlyTo64Bits) {
  EXPECT_EQ(integer("9223372036854775807"), "9223372036854775807");
  EXPECT_EQ(integer("-9223372036854775808"), "-9223372036854775808");
  EXPECT_EQ(integer("9223372036854775808"), "at 18");
  EXPECT_EQ(integer("-9223372036854775809"), "at 19");
  EXPECT_EQ(integer("18446744073709551616"), "at 19");
  EXPECT_EQ(integer("99999999999999999999"), "at 18");
}

TEST(PropertyListIntegers, AreNothingElse) {
  EXPECT_EQ(integer(""), "at 0");
  EXPECT_EQ(integer("-"), "at 1");
  EXPECT_EQ(integer("+-1"), "at 1");
  EXPECT_EQ(integer("12x"), "at 2");
  EXPECT_EQ(integer(" 1"), "at 0");
  EXPECT_EQ(integer("1 "), "at 1");
  EXPECT_EQ(integer("0x10"), "at 1");
  EXPECT_EQ(integer("1.0"), "at 1");
}

TEST(PropertyListReals, AreDecimalWithFractionAndExponent) {
  EXPECT_EQ(real("0"), 0.0);
  EXPECT_EQ(real("1.5"), 1.5);
  EXPECT_EQ(real("-1.5"), -1.5);
  EXPECT_EQ(real("+1.5"), 1.5);
  EXPECT_EQ(real(".5"), 0.5);
  EXPECT_EQ(real("5."), 5.0);
  EXPECT_EQ(real("1e3"), 1000.0);
  EXPECT_EQ(real("1E+3"), 1000.0);
  EXPECT_EQ(real("1.25e-2"), 0.0125);
  EXPECT_EQ(real("0e999999"), 0.0);
  EXPECT_TRUE(std::signbit(real("-0")));
}

TEST(PropertyListReals, CanBeNoNumberOrInfinite) {
  EXPECT_TRUE(std::isnan(real("nan")));
  EXPECT_EQ(real("inf"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(real("-inf"), -std::numeric_limits<double>::infinity());
}

TEST(PropertyListReals, AreNothingElse) {
  for (const char* text :
       {"",   "+",     "-",   ".",   "e3",   "1e",       "1e+",  "1.5.5",  "1,5",   "x",   "1x",  " 1",
        "1 ", "0x1p3", "NaN", "Inf", "+inf", "infinity", "-nan", "nan(1)", "1e5.5", "--1", "1.e", "-.e1"}) {
    EXPECT_FALSE(isReal(text)) << text;
  }
}

TEST(PropertyListReals, AreRoundedToTheNearest) {
  EXPECT_EQ(real("9007199254740993"), 9007199254740992.0);
  EXPECT_EQ(real("9007199254740993.0000000001"), 9007199254740994.0);
  EXPECT_EQ(real("0.1"), 0.1);
  EXPECT_EQ(real("0.30000000000000000000000000000000000001"), 0.3);
  EXPECT_EQ(real("179769313486231570000000000000000000000000000000000000e255"), std::numeric_limits<double>::max());
}

TEST(PropertyListReals, ReachFromTheSmallestToTheLargest) {
  EXPECT_EQ(real("1.7976931348623157e308"), std::numeric_limits<double>::max());
  EXPECT_EQ(real("2.2250738585072014e-308"), std::numeric_limits<double>::min());
  EXPECT_EQ(real("5e-324"), std::numeric_limits<double>::denorm_min());
  EXPECT_FALSE(isReal("1.8e308"));
  EXPECT_FALSE(isReal("-1e400"));
  EXPECT_FALSE(isReal("1e99999999999999999999"));
  EXPECT_FALSE(isReal("1e-400"));
  EXPECT_FALSE(isReal("-1e-99999999999999999999"));
}

TEST(PropertyListReals, ReadBackAsWritten) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 200'000; ++round) {
    const auto value = std::bit_cast<double>(random());
    const double read = real(written(scalars::writeReal, value));
    if (std::isnan(value)) {
      EXPECT_TRUE(std::isnan(read));
    } else {
      ASSERT_EQ(std::bit_cast<std::uint64_t>(read), std::bit_cast<std::uint64_t>(value));
    }
  }
}

TEST(PropertyListReals, ShortDecimalsAgreeWithTheLibrary) {
  std::mt19937_64 random(4);
  for (int round = 0; round < 100'000; ++round) {
    std::string text = std::to_string(random() >> random() % 64);
    if (random() % 2 == 0) text.insert(random() % text.size(), ".");
    ASSERT_EQ(real(text), std::strtod(text.c_str(), nullptr)) << text;
  }
}

TEST(PropertyListReals, AreWrittenShort) {
  EXPECT_EQ(written(scalars::writeReal, 0.1), "0.1");
  EXPECT_EQ(written(scalars::writeReal, 1.0), "1");
  EXPECT_EQ(written(scalars::writeReal, -0.0), "-0");
  EXPECT_EQ(written(scalars::writeReal, 1e300), "1e+300");
  EXPECT_EQ(written(scalars::writeReal, std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(written(scalars::writeReal, -std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(written(scalars::writeReal, std::numeric_limits<double>::infinity()), "inf");
}

TEST(PropertyListIntegers, AreWrittenInFull) {
  EXPECT_EQ(written(scalars::writeInteger, std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(written(scalars::writeInteger, std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
}

TEST(PropertyListDates, NameSecondsSince1970) {
  EXPECT_EQ(date("1970-01-01T00:00:00Z"), "0");
  EXPECT_EQ(date("2026-11-21T08:00:00Z"), "1795248000");
  EXPECT_EQ(date("1969-12-31T23:59:59Z"), "-1");
  EXPECT_EQ(date("0001-01-01T00:00:00Z"), std::to_string(scalars::firstSecond));
  EXPECT_EQ(date("9999-12-31T23:59:59Z"), std::to_string(scalars::lastSecond));
}

TEST(PropertyListDates, KnowLeapYears) {
  EXPECT_EQ(date("2024-02-29T00:00:00Z"), "1709164800");
  EXPECT_EQ(date("2000-02-29T00:00:00Z"), "951782400");
  EXPECT_EQ(date("2023-02-29T00:00:00Z"), "at 8");
  EXPECT_EQ(date("1900-02-29T00:00:00Z"), "at 8");
  EXPECT_EQ(date("2024-02-30T00:00:00Z"), "at 8");
}

TEST(PropertyListDates, MustExist) {
  EXPECT_EQ(date("0000-01-01T00:00:00Z"), "at 0");
  EXPECT_EQ(date("2026-00-01T00:00:00Z"), "at 5");
  EXPECT_EQ(date("2026-13-01T00:00:00Z"), "at 5");
  EXPECT_EQ(date("2026-01-00T00:00:00Z"), "at 8");
  EXPECT_EQ(date("2026-04-31T00:00:00Z"), "at 8");
  EXPECT_EQ(date("2026-12-32T00:00:00Z"), "at 8");
  EXPECT_EQ(date("2026-01-01T24:00:00Z"), "at 11");
  EXPECT_EQ(date("2026-01-01T00:60:00Z"), "at 14");
  EXPECT_EQ(date("2016-12-31T23:59:60Z"), "at 17");
}

TEST(PropertyListDates, HaveOneFormOnly) {
  EXPECT_EQ(date(""), "at 0");
  EXPECT_EQ(date("2026-11-21"), "at 10");
  EXPECT_EQ(date("2026-11-21 08:00:00Z"), "at 10");
  EXPECT_EQ(date("2026-11-21T08:00:00"), "at 19");
  EXPECT_EQ(date("2026-11-21T08:00:00z"), "at 19");
  EXPECT_EQ(date("2026-11-21T08:00:00ZZ"), "at 20");
  EXPECT_EQ(date("2026-11-21T08:00:00.5Z"), "at 19");
  EXPECT_EQ(date("2026-11-2 T08:00:00Z"), "at 9");
  EXPECT_EQ(date("+026-11-21T08:00:00Z"), "at 0");
}

TEST(PropertyListDates, ReadBackAndAgreeWithTheLibrary) {
  for (std::int64_t second = scalars::firstSecond; second <= scalars::lastSecond; second += 86'399 * 29) {
    const std::string text = written(scalars::writeDate, second);
    ASSERT_EQ(date(text), std::to_string(second)) << text;
    tm parts;
    const time_t time = second;
    ASSERT_NE(gmtime_r(&time, &parts), nullptr);
    ASSERT_EQ(parts.tm_year + 1900, std::stoi(text.substr(0, 4)));
    ASSERT_EQ(parts.tm_mon + 1, std::stoi(text.substr(5, 2)));
    ASSERT_EQ(parts.tm_mday, std::stoi(text.substr(8, 2)));
    ASSERT_EQ(parts.tm_sec, std::stoi(text.substr(17, 2)));
  }
  EXPECT_EQ(written(scalars::writeDate, scalars::firstSecond), "0001-01-01T00:00:00Z");
  EXPECT_EQ(written(scalars::writeDate, scalars::lastSecond), "9999-12-31T23:59:59Z");
}

}  // namespace
}  // namespace vanto

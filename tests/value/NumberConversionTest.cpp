// SPDX-License-Identifier: Apache-2.0
#include "value/NumberConversion.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace {

using vanto::NumberConversion;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

TEST(NumberConversion, CutsRealsToTheRangeOfIntegers) {
  EXPECT_EQ(NumberConversion::toInteger(-0.9), 0);
  EXPECT_EQ(NumberConversion::toInteger(0x1p63), greatest);
  EXPECT_EQ(NumberConversion::toInteger(std::nextafter(0x1p63, 0)), greatest - 1023);
  EXPECT_EQ(NumberConversion::toInteger(-0x1p63), least);
  EXPECT_EQ(NumberConversion::toInteger(-0x1.8p63), least);
  EXPECT_EQ(NumberConversion::toInteger(infinity), greatest);
  EXPECT_EQ(NumberConversion::toInteger(notANumber), 0);
}

TEST(NumberConversion, RoundsRealsToFloats) {
  constexpr float greatestFloat = std::numeric_limits<float>::max();
  constexpr float floatInfinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(NumberConversion::toFloat(0.1), 0.1F);
  EXPECT_EQ(NumberConversion::toFloat(std::nextafter(0x1.ffffffp+127, 0)), greatestFloat);
  EXPECT_EQ(NumberConversion::toFloat(0x1.ffffffp+127), floatInfinity);
  EXPECT_EQ(NumberConversion::toFloat(-1e300), -floatInfinity);
  EXPECT_EQ(NumberConversion::toFloat(-infinity), -floatInfinity);
  EXPECT_EQ(NumberConversion::toFloat(1e-300), 0.0F);
  EXPECT_TRUE(std::isnan(NumberConversion::toFloat(notANumber)));
}

TEST(NumberConversion, ComparesIntegersWithRealsExactly) {
  EXPECT_TRUE(NumberConversion::areEqual(std::int64_t{-3}, -3.0));
  EXPECT_FALSE(NumberConversion::areEqual(std::int64_t{3}, 3.5));
  EXPECT_FALSE(NumberConversion::areEqual((std::int64_t{1} << 53) + 1, 0x1p53));
  EXPECT_FALSE(NumberConversion::areEqual(greatest, 0x1p63));
  EXPECT_TRUE(NumberConversion::areEqual(least, -0x1p63));
  EXPECT_FALSE(NumberConversion::areEqual(least, -0x1.8p63));
  EXPECT_FALSE(NumberConversion::areEqual(std::int64_t{0}, notANumber));
}

TEST(NumberConversion, TakesNaNForEqualToItself) {
  EXPECT_TRUE(NumberConversion::areEqual(notANumber, -notANumber));
  EXPECT_TRUE(NumberConversion::areEqual(0.0, -0.0));
  EXPECT_FALSE(NumberConversion::areEqual(0.0, notANumber));
  EXPECT_FALSE(NumberConversion::areEqual(notANumber, 0.0));
}

}  // namespace

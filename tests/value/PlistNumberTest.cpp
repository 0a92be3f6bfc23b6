// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistNumber.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Ref;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

template <typename Value>
PlistNumber* make(KorNumberType subtype, Value value) {
  return PlistNumber::create(subtype, &value).asTemporary();
}

template <typename Integer>
void expectKeepsLimits(KorNumberType subtype) {
  for (const Integer value :
       {std::numeric_limits<Integer>::min(), Integer{0}, Integer{1}, std::numeric_limits<Integer>::max()}) {
    const PlistNumber* number = make(subtype, value);
    EXPECT_EQ(number->subtype(), subtype);
    EXPECT_FALSE(number->isReal());
    EXPECT_EQ(number->int64Value(), value);
    EXPECT_EQ(number->doubleValue(), static_cast<double>(value));
    EXPECT_EQ(number->truthValue(), value != 0);
  }
}

template <typename Real>
void expectKeepsReals(KorNumberType subtype) {
  for (const Real value : {std::numeric_limits<Real>::lowest(), std::numeric_limits<Real>::denorm_min(), Real(0.1),
                           std::numeric_limits<Real>::max(), std::numeric_limits<Real>::infinity(), Real(0)}) {
    const PlistNumber* number = make(subtype, value);
    EXPECT_EQ(number->subtype(), subtype);
    EXPECT_TRUE(number->isReal());
    EXPECT_EQ(number->doubleValue(), double{value});
    EXPECT_EQ(number->truthValue(), value != 0);
  }
  EXPECT_TRUE(std::isnan(make(subtype, std::numeric_limits<Real>::quiet_NaN())->doubleValue()));
}

TEST(PlistNumber, KeepsTheLimitsOfEachIntegerSubtype) {
  expectKeepsLimits<std::int8_t>(KorNumberSInt8Type);
  expectKeepsLimits<std::int16_t>(KorNumberSInt16Type);
  expectKeepsLimits<std::int32_t>(KorNumberSInt32Type);
  expectKeepsLimits<std::int64_t>(KorNumberSInt64Type);
  expectKeepsLimits<char>(KorNumberCharType);
  expectKeepsLimits<short>(KorNumberShortType);
  expectKeepsLimits<int>(KorNumberIntType);
  expectKeepsLimits<long>(KorNumberLongType);
  expectKeepsLimits<long long>(KorNumberLongLongType);
  expectKeepsLimits<std::intptr_t>(KorNumberIndexType);
  expectKeepsLimits<std::intptr_t>(KorNumberIntegerType);
}

TEST(PlistNumber, KeepsTheLimitsOfEachRealSubtype) {
  expectKeepsReals<float>(KorNumberFloat32Type);
  expectKeepsReals<double>(KorNumberFloat64Type);
  expectKeepsReals<float>(KorNumberFloatType);
  expectKeepsReals<double>(KorNumberDoubleType);
  expectKeepsReals<double>(KorNumberGraphicsFloatType);
}

TEST(PlistNumber, IsNotMadeOfAnUnknownSubtype) {
  const std::int64_t value = 1;
  for (const std::int32_t code : {0, 17, -1, 100}) {
    EXPECT_EQ(PlistNumber::create(static_cast<KorNumberType>(code), &value).get(), nullptr);
  }
}

TEST(PlistNumber, HasSubtype4Or6WhenMadePlainly) {
  EXPECT_EQ(number(5)->subtype(), KorNumberSInt64Type);
  EXPECT_EQ(real(5)->subtype(), KorNumberFloat64Type);
}

template <typename Value>
concept MakesANumber = requires(Value value) {
  PlistNumber::create(value);
};

TEST(PlistNumber, IsMadeOfIntegersOfEveryTypeThatFits) {
  for (const auto& made : {PlistNumber::create(-5), PlistNumber::create(short{-5}), PlistNumber::create(-5L),
                           PlistNumber::create(-5LL), PlistNumber::create(std::int8_t{-5})}) {
    EXPECT_EQ(made->subtype(), KorNumberSInt64Type);
    EXPECT_EQ(made->int64Value(), -5);
  }
  EXPECT_EQ(PlistNumber::create(UINT32_MAX)->int64Value(), std::int64_t{UINT32_MAX});
  EXPECT_EQ(PlistNumber::create(0.5F)->subtype(), KorNumberFloat64Type);
  static_assert(!MakesANumber<std::uint64_t>);
  static_assert(!MakesANumber<bool>);
}

TEST(PlistNumber, ReadsAValueThatIsNotAligned) {
  char bytes[sizeof(std::int64_t) + 1] = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_NE(PlistNumber::create(KorNumberSInt64Type, bytes + 1)->int64Value(), 0);
}

TEST(PlistNumber, CutsRealsTowardsZeroAndSaturates) {
  EXPECT_EQ(real(2.9)->int64Value(), 2);
  EXPECT_EQ(real(-2.9)->int64Value(), -2);
  EXPECT_EQ(real(1e300)->int64Value(), greatest);
  EXPECT_EQ(real(-infinity)->int64Value(), least);
  EXPECT_EQ(real(notANumber)->int64Value(), 0);
}

TEST(PlistNumber, IsTrueWhenNotZero) {
  EXPECT_TRUE(number(-1)->truthValue());
  EXPECT_TRUE(real(0.25)->truthValue());
  EXPECT_FALSE(real(-0.0)->truthValue());
}

TEST(PlistNumber, EqualsTheSameValueOfAnySubtype) {
  EXPECT_TRUE(number(7)->isEqual(make(KorNumberCharType, char{7})));
  EXPECT_TRUE(number(7)->isEqual(real(7)));
  EXPECT_TRUE(real(7)->isEqual(number(7)));
  EXPECT_TRUE(real(0.5)->isEqual(make(KorNumberFloat32Type, 0.5F)));
  EXPECT_TRUE(real(0.0)->isEqual(real(-0.0)));
  EXPECT_TRUE(real(notANumber)->isEqual(make(KorNumberFloatType, std::numeric_limits<float>::quiet_NaN())));
  EXPECT_FALSE(number(7)->isEqual(number(8)));
  EXPECT_FALSE(real(0.1)->isEqual(make(KorNumberFloat32Type, 0.1F)));
  EXPECT_FALSE(real(notANumber)->isEqual(number(0)));
  EXPECT_FALSE(number(1)->isEqual(string("1")));
}

TEST(PlistNumber, ComparesLargeIntegersAndRealsExactly) {
  const std::int64_t odd = (std::int64_t{1} << 53) + 1;
  EXPECT_FALSE(number(odd)->isEqual(real(static_cast<double>(odd))));
  EXPECT_TRUE(number(odd - 1)->isEqual(real(static_cast<double>(odd - 1))));
  EXPECT_FALSE(number(greatest)->isEqual(real(0x1p63)));
  EXPECT_TRUE(number(least)->isEqual(real(-0x1p63)));
}

TEST(PlistNumber, NeverEqualsABoolean) {
  EXPECT_FALSE(number(1)->isEqual(PlistBoolean::of(true)));
  EXPECT_FALSE(PlistBoolean::of(true)->isEqual(number(1)));
}

TEST(PlistNumber, DescribesItselfInTheShortestForm) {
  EXPECT_EQ(description(*number(0)), "0");
  EXPECT_EQ(description(*number(least)), "-9223372036854775808");
  EXPECT_EQ(description(*real(0.1)), "0.1");
  EXPECT_EQ(description(*make(KorNumberFloat32Type, 0.1F)), "0.1");
  EXPECT_EQ(description(*make(KorNumberFloatType, 0.1F)), "0.1");
  EXPECT_EQ(description(*real(double{0.1F})), "0.10000000149011612");
  EXPECT_EQ(description(*real(5)), "5");
  EXPECT_EQ(description(*real(1e300)), "1e+300");
  EXPECT_EQ(description(*real(-std::numeric_limits<double>::denorm_min())), "-5e-324");
  EXPECT_EQ(description(*real(-std::numeric_limits<double>::min())), "-2.2250738585072014e-308");
  EXPECT_EQ(description(*real(-infinity)), "-inf");
  EXPECT_EQ(description(*real(-notANumber)), "nan");
}

}  // namespace

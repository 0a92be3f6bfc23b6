// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListBinary.h"

#include <gtest/gtest.h>

#include <limits>

namespace vanto::binary {
namespace {

TEST(PropertyListBinary, GivesAnIntegerAsFewBytesAsTwosComplementAllows) {
  EXPECT_EQ(integerBytes(0), 1U);
  EXPECT_EQ(integerBytes(-1), 1U);
  for (std::size_t bytes = 1; bytes < 8; ++bytes) {
    const std::int64_t highest = (std::int64_t{1} << (8 * bytes - 1)) - 1;
    EXPECT_EQ(integerBytes(highest), bytes);
    EXPECT_EQ(integerBytes(highest + 1), bytes + 1);
    EXPECT_EQ(integerBytes(-highest - 1), bytes);
    EXPECT_EQ(integerBytes(-highest - 2), bytes + 1);
  }
  EXPECT_EQ(integerBytes(std::numeric_limits<std::int64_t>::max()), 8U);
  EXPECT_EQ(integerBytes(std::numeric_limits<std::int64_t>::min()), 8U);
}

TEST(PropertyListBinary, GivesCountsAsFewBytesAsTheLargestNeeds) {
  EXPECT_EQ(countWidth(0), 1U);
  EXPECT_EQ(countWidth(0xFF), 1U);
  EXPECT_EQ(countWidth(0x100), 2U);
  EXPECT_EQ(countWidth(0xFFFF), 2U);
  EXPECT_EQ(countWidth(0x10000), 3U);
  EXPECT_EQ(countWidth(0xFFFFFF), 3U);
  EXPECT_EQ(countWidth(0x1000000), 4U);
  EXPECT_EQ(countWidth(0xFFFFFFFF), 4U);
}

TEST(PropertyListBinary, GivesEachSubtypeAndSizeATagOfItsOwn) {
  for (int subtype = KorNumberSInt8Type; subtype <= KorNumberGraphicsFloatType; ++subtype) {
    for (std::size_t bytes = 1; bytes <= 8; ++bytes) {
      const std::uint8_t tag = numberTag(static_cast<KorNumberType>(subtype), bytes);
      EXPECT_EQ(subtypeOfTag(tag), subtype);
      EXPECT_EQ(bytesOfTag(tag), bytes);
      EXPECT_GT(tag, static_cast<std::uint8_t>(Tag::Dictionary));
    }
  }
}

TEST(PropertyListBinary, KnowsWhichSubtypesAreReals) {
  for (int subtype = KorNumberSInt8Type; subtype <= KorNumberGraphicsFloatType; ++subtype) {
    const std::int64_t zero = 0;
    const auto number = PlistNumber::create(static_cast<KorNumberType>(subtype), &zero);
    EXPECT_EQ(numberForms[subtype - 1].realBytes != 0, number->isReal()) << subtype;
  }
}

}  // namespace
}  // namespace vanto::binary

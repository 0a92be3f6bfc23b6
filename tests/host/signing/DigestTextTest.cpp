// SPDX-License-Identifier: Apache-2.0
#include "signing/DigestText.h"

#include <vector>

#include <gtest/gtest.h>

namespace vanto::testing {
namespace {

TEST(DigestText, WritesTwoDigitsForEachByte) {
  EXPECT_EQ(digestText({}), "");
  EXPECT_EQ(digestText(std::vector<std::uint8_t>{0x00, 0x0f, 0xa0, 0xff, 0x19}), "000fa0ff19");
  EXPECT_TRUE(isDigestText(digestText(std::vector<std::uint8_t>(digestBytes, 0x5c))));
}

TEST(DigestText, IsSixtyFourHexadecimalDigits) {
  for (const char digit : std::string_view("0123456789abcdefABCDEF")) {
    EXPECT_TRUE(isDigestText(std::string(64, digit))) << digit;
  }
  for (const char other : std::string_view("g@`/:G \0", 8)) {
    EXPECT_FALSE(isDigestText(std::string(64, other))) << other;
    EXPECT_FALSE(isDigestText(std::string(63, '0') + other)) << other;
  }
  EXPECT_FALSE(isDigestText(""));
  EXPECT_FALSE(isDigestText(std::string(63, '0')));
  EXPECT_FALSE(isDigestText(std::string(65, '0')));
}

TEST(DigestText, HasOneForm) {
  EXPECT_EQ(canonicalDigestText(std::string(58, '9') + "ABCDEF"), std::string(58, '9') + "abcdef");
  EXPECT_EQ(canonicalDigestText(std::string(58, '9') + "abcdef"), std::string(58, '9') + "abcdef");
}

}  // namespace
}  // namespace vanto::testing

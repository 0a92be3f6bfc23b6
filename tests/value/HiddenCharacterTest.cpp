// SPDX-License-Identifier: Apache-2.0
#include "value/HiddenCharacter.h"

#include <gtest/gtest.h>

namespace vanto {
namespace {

TEST(HiddenCharacter, IsOneThatIsNotSeenAsWhatItIs) {
  for (const char32_t code : {0x00, 0x1f, 0x7f, 0x9f, 0x061c, 0x200b, 0x200f, 0x2028, 0x202e, 0xfeff, 0xe0001}) {
    EXPECT_TRUE(isHiddenCharacter(code)) << static_cast<unsigned>(code);
  }
  for (const char32_t code : {0x20, 0x7e, 0xa0, 0xe4, 0x200a, 0x2010, 0x2027, 0x202f, 0x1f600}) {
    EXPECT_FALSE(isHiddenCharacter(code)) << static_cast<unsigned>(code);
  }
}

TEST(HiddenCharacter, MisleadsWhereItChangesTheWholeLine) {
  for (const char32_t code : {0x7f, 0x85, 0x061c, 0x200e, 0x200f, 0x2028, 0x2029, 0x202a, 0x202e, 0x2066, 0x2069}) {
    EXPECT_TRUE(isMisleadingCharacter(code)) << static_cast<unsigned>(code);
  }
  for (const char32_t code : {0x20, 0x200b, 0x200c, 0x200d, 0x2060, 0x206a, 0xfe0f}) {
    EXPECT_FALSE(isMisleadingCharacter(code)) << static_cast<unsigned>(code);
  }
}

}  // namespace
}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PortRange.h"

#include <string>

#include <gtest/gtest.h>

namespace {

std::string ports(std::string_view word) {
  const auto range = vanto::portRangeOf(word);
  return range ? std::to_string(range->first) + " to " + std::to_string(range->last) + ": " +
                     std::to_string(range->size())
               : "none";
}

TEST(PortRange, IsOnePortOrTwoWithADash) {
  EXPECT_EQ(ports("0"), "0 to 0: 1");
  EXPECT_EQ(ports("65535"), "65535 to 65535: 1");
  EXPECT_EQ(ports("80-80"), "80 to 80: 1");
  EXPECT_EQ(ports("0-65535"), "0 to 65535: 65536");
}

TEST(PortRange, IsNothingElse) {
  for (const char* word : {"", "-", "80-", "-80", "65536", "81-80", "080", "00", "+80", " 80", "80 ", "0x50", "http",
                           "80-81-82", "80,81", "99999999999999999999"}) {
    EXPECT_EQ(ports(word), "none") << word;
  }
}

}  // namespace

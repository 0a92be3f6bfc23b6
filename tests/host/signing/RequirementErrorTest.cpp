// SPDX-License-Identifier: Apache-2.0
#include "signing/RequirementError.h"

#include <gtest/gtest.h>

namespace vanto::testing {
namespace {

std::string place(std::string_view source, std::size_t offset) {
  const RequirementError error = RequirementError::at(source, offset, "", "");
  return std::to_string(error.line) + ":" + std::to_string(error.column);
}

TEST(RequirementError, CountsLinesAndBytesFromOne) {
  EXPECT_EQ(place("", 0), "1:1");
  EXPECT_EQ(place("ab\ncd\n", 0), "1:1");
  EXPECT_EQ(place("ab\ncd\n", 2), "1:3");
  EXPECT_EQ(place("ab\ncd\n", 3), "2:1");
  EXPECT_EQ(place("ab\ncd\n", 5), "2:3");
  EXPECT_EQ(place("ab\ncd\n", 6), "3:1");
  EXPECT_EQ(place("ab\r\ncd", 4), "2:1");
  EXPECT_EQ(place("\xc3\xa4\xc3\xa4x", 4), "1:5");
}

TEST(RequirementError, SaysWhereWhatAndWhatToDo) {
  EXPECT_EQ(RequirementError::at("a\nbc", 3, "this is wrong", "mend it").text(),
            "column 2 (line 2): this is wrong; mend it");
}

}  // namespace
}  // namespace vanto::testing

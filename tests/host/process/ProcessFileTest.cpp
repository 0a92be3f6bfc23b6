// SPDX-License-Identifier: Apache-2.0
#include "process/ProcessFile.h"

#include <climits>
#include <string>

#include <gtest/gtest.h>

namespace vanto::testing {
namespace {

TEST(ProcessFile, LiesInTheDirectoryOfItsProcess) {
  EXPECT_STREQ(ProcessFile(1, "exe").path(), "/proc/1/exe");
  EXPECT_STREQ(ProcessFile(INT_MAX, "status").path(), "/proc/2147483647/status");
  EXPECT_STREQ(ProcessFile(INT_MIN, "").path(), "/proc/-2147483648/");
}

TEST(ProcessFile, CutsANameThatIsTooLong) {
  const std::string longest(ProcessFile::longestName, 'x');
  EXPECT_EQ(ProcessFile(INT_MIN, longest + "y").path(), "/proc/-2147483648/" + longest);
}

}  // namespace
}  // namespace vanto::testing

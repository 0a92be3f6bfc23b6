// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ErrorNumber.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

TEST(ErrorNumber, HasWordsAndItsNumber) {
  EXPECT_EQ(errorNumberText(ENOENT), "No such file or directory (error 2)");
  EXPECT_EQ(errorNumberText(99999), "unknown error (error 99999)");
}

}  // namespace
}  // namespace vanto::manager

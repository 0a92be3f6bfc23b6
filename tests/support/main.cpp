// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/ObjectCounter.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // A death test runs in a fresh process: tests have threads, which a plain fork would lose.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  testing::UnitTest::GetInstance()->listeners().Append(new vanto::testing::ObjectCounter);
  return RUN_ALL_TESTS();
}

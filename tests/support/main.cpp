// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/ObjectCounter.h"

#ifdef __SANITIZE_ADDRESS__
// What the library keeps on purpose and nothing refers to: jobs as IPC objects have a reference that is never dropped.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:VantoServiceBundle::computeVantoJobData\n";
}
#endif

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // A death test runs in a fresh process: tests have threads, which a plain fork would lose.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  testing::UnitTest::GetInstance()->listeners().Append(new vanto::testing::ObjectCounter);
  return RUN_ALL_TESTS();
}

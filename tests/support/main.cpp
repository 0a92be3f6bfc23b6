// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/ObjectCounter.h"

#ifdef __SANITIZE_ADDRESS__
// What the library keeps on purpose and nothing refers to: jobs as IPC objects have a reference that is never dropped.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:VantoServiceBundle::computeVantoJobData\n";
}
#endif

namespace {

/// Root can do whatever a test needs, but for what the thread sanitizer keeps processes from.
bool mayTestsBeSkipped() {
#ifdef __SANITIZE_THREAD__
  return true;
#else
  return geteuid() != 0;
#endif
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // A death test runs in a fresh process: tests have threads, which a plain fork would lose.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  testing::UnitTest::GetInstance()->listeners().Append(new vanto::testing::ObjectCounter);
  const int status = RUN_ALL_TESTS();
  if (status != 0 || testing::UnitTest::GetInstance()->skipped_test_count() == 0 || mayTestsBeSkipped()) return status;
  std::printf("A test that skips itself where root runs it has not passed.\n");
  return 1;
}

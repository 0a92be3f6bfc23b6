// SPDX-License-Identifier: Apache-2.0
#include "support/Child.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vanto::testing {
namespace {

TEST(Child, TellsHowItEndedAndWhatItReportedBefore) {
  const ChildOutcome good = runInChild([](const ChildReport& report) {
    report("one");
    report("two");
  });
  EXPECT_EQ(good.end, "exit status 0");
  EXPECT_EQ(good.lines, (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(runInChild([](const ChildReport&) { std::exit(3); }).end, "exit status 3");
  const ChildOutcome dead = runInChild([](const ChildReport& report) {
    report("last words");
    std::abort();
  });
  EXPECT_EQ(dead.end, "signal 6");
  EXPECT_EQ(dead.lines, std::vector<std::string>{"last words"});
}

TEST(Child, EndsWithStatus99WhenAnExpectationInItFails) {
  const ChildOutcome outcome = runInChild([](const ChildReport&) {
    // Nobody needs to read about this failure.
    ASSERT_NE(std::freopen("/dev/null", "w", stdout), nullptr);
    EXPECT_EQ(1, 2);
  });
  EXPECT_EQ(outcome.end, "exit status 99");
}

}  // namespace
}  // namespace vanto::testing

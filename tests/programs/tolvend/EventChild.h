// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

#include <VantoService/dispatch.h>
#include <gtest/gtest.h>

#include "dispatch/Pool.h"
#include "support/Child.h"
#include "tolvend/Alarms.h"

/// Parts of the manager in the loop in which they live, in a process with one thread.
namespace vanto::test {

/// Ends the process of runWithEvents().
[[noreturn]] inline void finish() {
  std::_Exit(::testing::Test::HasFailure() ? 99 : 0);
}

/// Calls `begin`, then lets events come until finish() is called. What the child has reported. Objects that events are
/// for must live on when `begin` has returned.
[[nodiscard]] inline std::vector<std::string> runWithEvents(
    const std::function<void(const testing::ChildReport& report, manager::Alarms& alarms)>& begin) {
  const testing::ChildOutcome outcome = testing::runInChild([&](const testing::ChildReport& report) {
    // For a loop in which nothing happens any more.
    alarm(60);
    Pool::shared().useOnlyMainThread();
    static manager::Alarms alarms;
    EXPECT_EQ(alarms.open(), 0);
    begin(report, alarms);
    dispatch_main();
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  return outcome.lines;
}

}  // namespace vanto::test

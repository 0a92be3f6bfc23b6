// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ThreadCount.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "support/Child.h"

namespace vanto::testing {
namespace {

TEST(ThreadCount, CountsThreads) {
  // In a process that has had none that could still be ending.
  const ChildOutcome outcome = runInChild([](const ChildReport&) {
    EXPECT_EQ(threadCount(), 1U);
    std::atomic<bool> isOver{false};
    const std::jthread second([&] { isOver.wait(false); });
    const std::jthread third([&] { isOver.wait(false); });
    EXPECT_EQ(threadCount(), 3U);
    isOver = true;
    isOver.notify_all();
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::testing

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ThreadCount.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace vanto::testing {
namespace {

TEST(ThreadCount, CountsThreads) {
  EXPECT_EQ(threadCount(), 1U);
  std::atomic<bool> isOver{false};
  {
    const std::jthread second([&] { isOver.wait(false); });
    const std::jthread third([&] { isOver.wait(false); });
    EXPECT_EQ(threadCount(), 3U);
    isOver = true;
    isOver.notify_all();
  }
}

}  // namespace
}  // namespace vanto::testing

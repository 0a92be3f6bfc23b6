// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Futex.h"

#include <thread>

#include <gtest/gtest.h>

#include "dispatch/Workers.h"

namespace {

TEST(Futex, DoesNotWaitForAWordThatHasChanged) {
  const std::atomic<std::uint32_t> word{1};
  vanto::waitWhileEqual(word, 0);
}

TEST(Futex, WaitsNoLongerThanItIsTold) {
  const std::atomic<std::uint32_t> word{0};
  constexpr std::uint64_t length = 2'000'000;
  const std::uint64_t begin = vanto::monotonicNow();
  vanto::waitWhileEqual(word, 0, length);
  EXPECT_GE(vanto::monotonicNow() - begin, length);
}

TEST(Futex, WakesTheThreadThatWaits) {
  std::atomic<std::uint32_t> word{0};
  std::thread waiting([&] {
    while (word.load() == 0) vanto::waitWhileEqual(word, 0);
  });
  word.store(1);
  vanto::wakeOne(word);
  waiting.join();
}

}  // namespace

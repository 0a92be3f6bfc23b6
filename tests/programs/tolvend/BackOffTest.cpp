// SPDX-License-Identifier: Apache-2.0
#include "tolvend/BackOff.h"

#include <set>

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

constexpr std::uint64_t millisecond = 1'000'000;

/// Expects a pause of up to `nominal`, less a quarter at most.
void expectPause(std::uint64_t pause, std::uint64_t nominal) {
  EXPECT_LE(pause, nominal);
  EXPECT_GE(pause, nominal / 4 * 3);
}

TEST(BackOff, DoublesUpToHalfAMinute) {
  BackOff backOff(1);
  for (const std::uint64_t nominal : {100, 200, 400, 800, 1600, 3200, 6400, 12800, 25600, 30000, 30000, 30000}) {
    expectPause(backOff.failed(0), nominal * millisecond);
  }
}

TEST(BackOff, StaysAtTheLongestHoweverOften) {
  BackOff backOff(2);
  for (int count = 0; count < 1000; ++count) static_cast<void>(backOff.failed(0));
  expectPause(backOff.failed(0), BackOff::longest);
}

TEST(BackOff, BeginsAgainAfterAHealthyRun) {
  BackOff backOff(3);
  for (int count = 0; count < 6; ++count) static_cast<void>(backOff.failed(0));
  expectPause(backOff.failed(BackOff::healthy - 1), 6400 * millisecond);
  expectPause(backOff.failed(BackOff::healthy), 100 * millisecond);
  expectPause(backOff.failed(0), 200 * millisecond);
}

TEST(BackOff, BeginsAgainWhenReset) {
  BackOff backOff(4);
  for (int count = 0; count < 6; ++count) static_cast<void>(backOff.failed(0));
  backOff.reset();
  expectPause(backOff.failed(0), 100 * millisecond);
}

TEST(BackOff, UsesTheWholeQuarterAndDiffersBySeed) {
  std::set<std::uint64_t> pauses;
  for (std::uint64_t seed = 0; seed < 1000; ++seed) pauses.insert(BackOff(seed).failed(0));
  EXPECT_GT(pauses.size(), 990U);
  EXPECT_LT(*pauses.begin(), 76 * millisecond);
  EXPECT_GT(*pauses.rbegin(), 99 * millisecond);
}

}  // namespace
}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#include "tolvend/LossLog.h"

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

constexpr std::uint64_t second = 1'000'000'000;

TEST(LossLog, TellsOfEachKindOnceAMinuteHoweverTheyAlternate) {
  LossLog log;
  int lines = 0;
  for (std::uint64_t tenth = 0; tenth < 1200; tenth++) {
    if (log.isDue(tenth % 2 == 0, 5 * second + tenth * second / 10)) lines++;
  }
  EXPECT_EQ(lines, 4) << "two kinds in two minutes";
}

TEST(LossLog, TellsOfTheFirstLossAtAnyTime) {
  LossLog log;
  EXPECT_TRUE(log.isDue(true, 0));
  EXPECT_FALSE(log.isDue(true, LossLog::quietTime - 1));
  EXPECT_TRUE(log.isDue(true, LossLog::quietTime));
}

}  // namespace
}  // namespace vanto::manager

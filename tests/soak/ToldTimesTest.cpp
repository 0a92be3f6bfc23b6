// SPDX-License-Identifier: Apache-2.0
#include "soak/ToldTimes.h"

#include <gtest/gtest.h>

namespace vanto::soak {
namespace {

using Lateness = ToldTimes::Lateness;

constexpr std::int64_t soon = 1'000'000;
constexpr std::int64_t late = 101'000'000;

void add(ToldTimes& told, const char* failure, int count, std::int64_t time) {
  for (int i = 0; i < count; i++) told.add(failure, time);
}

TEST(ToldTimes, AreWrongWhenMoreThanOneInAHundredIsLate) {
  ToldTimes told;
  add(told, "crashed", 100, soon);
  add(told, "crashed", 1, late);
  EXPECT_TRUE(told.report(Lateness::Judged));
  add(told, "crashed", 1, late);
  EXPECT_FALSE(told.report(Lateness::Judged));
  EXPECT_TRUE(told.report(Lateness::Shown));
}

TEST(ToldTimes, OfOneFailureAreNotHiddenByThoseOfAnother) {
  ToldTimes told;
  add(told, "crashed", 10'000, soon);
  EXPECT_TRUE(told.report(Lateness::Judged));
  add(told, "missing", 2, late);
  EXPECT_FALSE(told.report(Lateness::Judged));
  EXPECT_TRUE(told.report(Lateness::Shown));
}

TEST(ToldTimes, AreWrongWhenNoneIsKnownOfThoseWhoWereTold) {
  ToldTimes told;
  EXPECT_TRUE(told.report(Lateness::Shown));
  EXPECT_FALSE(told.report(Lateness::Judged)) << "nothing was measured";
  told.addUnclear();
  EXPECT_FALSE(told.report(Lateness::Judged));
  EXPECT_FALSE(told.report(Lateness::Shown));
  told.add("crashed", soon);
  EXPECT_TRUE(told.report(Lateness::Judged));
}

}  // namespace
}  // namespace vanto::soak

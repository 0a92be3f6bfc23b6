// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Failures.h"

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;
using Pause = Failures::Pause;

constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t now = 1'000'000'000;

struct FailuresTest : testing::Test {
  Failures failures{BackOff(1), LifeCycleTimes{}};
};

TEST_F(FailuresTest, AreNoneAtFirst) {
  EXPECT_EQ(failures.count(), 0U);
  EXPECT_EQ(failures.last(), nullptr);
  EXPECT_EQ(failures.pauseUntil(), 0U);
  EXPECT_FALSE(failures.isToldAgain(now));
}

TEST_F(FailuresTest, TheSamePauseFollowsEachStartThatFails) {
  for (int count = 0; count < 3; ++count) failures.startFailed(failureOf(Stage::Proxy, 0), Pause::Begins, now);
  EXPECT_EQ(failures.count(), 3U);
  EXPECT_EQ(failures.last()->time, now);
  EXPECT_EQ(failures.last()->pause, 100 * millisecond);
  EXPECT_EQ(failures.pauseUntil(), now + 100 * millisecond);
  failures.endPause(now + 99 * millisecond);
  EXPECT_NE(failures.pauseUntil(), 0U);
  failures.endPause(now + 100 * millisecond);
  EXPECT_EQ(failures.pauseUntil(), 0U);
}

TEST_F(FailuresTest, ALongerPauseFollowsEachRunThatFailsUntilOneWasLong) {
  std::uint64_t before = 0;
  for (int count = 0; count < 4; ++count) {
    failures.runFailed(failureOf(Stage::Serving, now), Pause::Begins, now);
    EXPECT_GT(failures.last()->pause, before);
    before = failures.last()->pause;
  }
  failures.runEnded(BackOff::healthy - 1);
  failures.runFailed(failureOf(Stage::Serving, now), Pause::Begins, now);
  EXPECT_GT(failures.last()->pause, before);
  failures.runEnded(BackOff::healthy);
  failures.runFailed(failureOf(Stage::Serving, now), Pause::Begins, now);
  EXPECT_LE(failures.last()->pause, BackOff::first);
}

TEST_F(FailuresTest, NothingIsPutOffWhereAnotherProcessIsThere) {
  failures.runFailed(failureOf(Stage::Serving, now), Pause::Unneeded, now);
  EXPECT_EQ(failures.pauseUntil(), 0U);
  EXPECT_EQ(failures.count(), 1U);
}

TEST_F(FailuresTest, OneBeforeTheGreetingIsToldAgainForAMoment) {
  failures.runFailed(failureOf(Stage::Greeting, now), Pause::Begins, now);
  EXPECT_TRUE(failures.isToldAgain(now + 49 * millisecond));
  EXPECT_FALSE(failures.isToldAgain(now + 50 * millisecond));
  failures.runFailed(failureOf(Stage::Serving, now), Pause::Begins, now);
  EXPECT_FALSE(failures.isToldAgain(now));
}

TEST_F(FailuresTest, AreForgottenButStillCounted) {
  failures.runFailed(failureOf(Stage::Greeting, now), Pause::Begins, now);
  failures.forget();
  EXPECT_EQ(failures.pauseUntil(), 0U);
  EXPECT_FALSE(failures.isToldAgain(now));
  EXPECT_EQ(failures.count(), 1U);
}

}  // namespace
}  // namespace vanto::manager

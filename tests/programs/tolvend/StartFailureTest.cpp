// SPDX-License-Identifier: Apache-2.0
#include "tolvend/StartFailure.h"

#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;

constexpr std::uint64_t millisecond = 1'000'000;

TEST(StartFailure, NamesEachStage) {
  const char* names[] = {"held",        "pause",       "limit",   "resources",  "proxy",     "call",
                         "handover",    "descriptors", "state",   "executable", "execution", "listening",
                         "confinement", "greeting",    "serving", "removed",    "manager"};
  unsigned number = 0;
  for (const char* name : names) EXPECT_STREQ(stageName(static_cast<Stage>(number++)), name);
  EXPECT_EQ(number, static_cast<unsigned>(Stage::Manager) + 1);
}

TEST(StartFailure, TellsWhatTheSystemSaid) {
  EXPECT_EQ(failureText({.stage = Stage::Executable, .error = ENOENT, .pause = 100 * millisecond}),
            "executable: No such file or directory (error 2)");
  EXPECT_EQ(failureText({.stage = Stage::Resources, .error = EAGAIN}),
            "resources: Resource temporarily unavailable (error 11)");
  EXPECT_EQ(failureText({.stage = Stage::Call, .error = 99999}), "call: unknown error (error 99999)");
}

TEST(StartFailure, TellsHowAProcessEndedAndWhenTheNextIsTried) {
  EXPECT_EQ(
      failureText(
          {.stage = Stage::Greeting, .signal = SIGSEGV, .ran = 12 * millisecond + 999, .pause = 100 * millisecond}),
      "greeting: ended by signal 11 (Segmentation fault) after 0.012 s; next attempt in 0.1 s");
  EXPECT_EQ(failureText({.stage = Stage::Listening, .exitStatus = 0, .ran = 1, .pause = 30'000 * millisecond}),
            "listening: exited with status 0 after less than 0.001 s; next attempt in 30 s");
  EXPECT_EQ(failureText({.stage = Stage::Serving, .exitStatus = 3, .ran = 61'250 * millisecond}),
            "serving: exited with status 3 after 61.25 s");
  EXPECT_EQ(
      failureText({.stage = Stage::Pause, .signal = SIGKILL, .ran = 5'000 * millisecond, .pause = 1'500 * millisecond}),
      "pause: ended by signal 9 (Killed) after 5 s; next attempt in 1.5 s");
  EXPECT_EQ(failureText({.stage = Stage::Serving, .signal = 1000, .ran = millisecond}),
            "serving: ended by signal 1000 after 0.001 s");
}

TEST(StartFailure, TellsThatNobodyWasAccepted) {
  EXPECT_EQ(failureText({.stage = Stage::Listening,
                         .error = ETIMEDOUT,
                         .ran = 10'000 * millisecond,
                         .patience = 7'500 * millisecond,
                         .pause = 90 * millisecond}),
            "listening: did not accept clients within 7.5 s; next attempt in 0.09 s");
  EXPECT_EQ(failureText({.stage = Stage::Greeting, .ran = 40 * millisecond}),
            "greeting: stopped accepting clients after 0.04 s");
}

TEST(StartFailure, TellsAReasonInWords) {
  EXPECT_EQ(
      failureText(
          {.stage = Stage::Confinement, .ran = 40 * millisecond, .pause = 100 * millisecond, .reason = "not confined"}),
      "confinement: not confined; next attempt in 0.1 s");
  EXPECT_EQ(failureText({.stage = Stage::Pause, .ran = 1, .pause = 90 * millisecond, .reason = "not confined"}),
            "pause: not confined; next attempt in 0.09 s");
}

TEST(StartFailure, TellsWhatPeopleDecided) {
  EXPECT_EQ(failureText({.stage = Stage::Held}), "held: its owner has stopped it");
  EXPECT_EQ(failureText({.stage = Stage::Limit}), "limit: too many instances");
  EXPECT_EQ(failureText({.stage = Stage::Removed}), "removed: its job was unloaded");
  EXPECT_EQ(failureText({.stage = Stage::Manager}), "manager: the service manager is ending");
}

TEST(StartFailure, IsToldAgainInThePauseAfterIt) {
  const StartFailure failure{.stage = Stage::Greeting, .signal = SIGSEGV, .ran = 7, .pause = 9, .time = 1};
  const StartFailure told = pauseAfter(failure, 10, 4);
  EXPECT_EQ(told.stage, Stage::Pause);
  EXPECT_EQ(told.signal, SIGSEGV);
  EXPECT_EQ(told.pause, 6U);
  EXPECT_EQ(told.time, 4U);
  EXPECT_EQ(failureOf(Stage::Limit, 5).time, 5U);
}

}  // namespace
}  // namespace vanto::manager

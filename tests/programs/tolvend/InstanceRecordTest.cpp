// SPDX-License-Identifier: Apache-2.0
#include "tolvend/InstanceRecord.h"

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;
using State = InstanceRecord::State;

TEST(InstanceRecord, FailsInTheStageThatItsWordsSay) {
  EXPECT_EQ(InstanceRecord{}.stage(), Stage::Listening);
  EXPECT_EQ((InstanceRecord{.isExecuted = true}.stage()), Stage::Listening);
  EXPECT_EQ((InstanceRecord{.saidListening = true}.stage()), Stage::Greeting);
  EXPECT_EQ((InstanceRecord{.saidListening = true, .hasGreeted = true}.stage()), Stage::Serving);
  EXPECT_EQ((InstanceRecord{.saidListening = true, .saidStopped = true}.stage()), Stage::Serving);
}

TEST(InstanceRecord, ServesWithoutAWordWhileNobodyWaitsForIt) {
  EXPECT_EQ((InstanceRecord{.seemsToAccept = true}.stage()), Stage::Serving);
  EXPECT_EQ((InstanceRecord{.lookAt = 5, .seemsToAccept = true}.stage()), Stage::Listening);
}

TEST(InstanceRecord, HasServedOnceAClientWasSeenToBeAcceptedWhoeverWaitsNow) {
  EXPECT_EQ((InstanceRecord{.lookAt = 5, .seemsToAccept = true, .hasAccepted = true}.stage()), Stage::Serving);
}

TEST(InstanceRecord, IsStartingRunningOrStopping) {
  EXPECT_EQ(InstanceRecord{}.state(), State::Starting);
  EXPECT_EQ((InstanceRecord{.isExecuted = true}.state()), State::Starting);
  EXPECT_EQ((InstanceRecord{.saidListening = true}.state()), State::Running);
  EXPECT_EQ((InstanceRecord{.seemsToAccept = true}.state()), State::Running);
  EXPECT_EQ((InstanceRecord{.saidListening = true, .isAsked = true}.state()), State::Stopping);
  EXPECT_EQ((InstanceRecord{.saidListening = true, .saidStopped = true}.state()), State::Stopping);
  EXPECT_EQ((InstanceRecord{.hasFailed = true}.state()), State::Stopping);
  EXPECT_STREQ(stateName(State::Starting), "starting");
  EXPECT_STREQ(stateName(State::Running), "running");
  EXPECT_STREQ(stateName(State::Stopping), "stopping");
}

TEST(InstanceRecord, TellsHowLongItRan) {
  const StartFailure failure = InstanceRecord{.id = 3, .since = 100}.failure(350);
  EXPECT_EQ(failure.instance, 3U);
  EXPECT_EQ(failure.ran, 250U);
  EXPECT_EQ(failure.time, 350U);
  EXPECT_EQ(failure.stage, Stage::Listening);
}

TEST(InstanceRecord, CrashesByASignalOrAnyStatusButNull) {
  EXPECT_FALSE(isCrash({Ending::Kind::Exited, 0}));
  EXPECT_TRUE(isCrash({Ending::Kind::Exited, 1}));
  EXPECT_TRUE(isCrash({Ending::Kind::Signalled, 15}));
}

TEST(InstanceRecord, LeavesThoseWhoWaitUnservedUnlessItServedOrWasAllowedTo) {
  constexpr std::uint64_t shortRun = 1'000;
  InstanceRecord record;
  EXPECT_TRUE(record.leavesUnserved(5'000, shortRun));
  record.mayLeave = true;
  EXPECT_FALSE(record.leavesUnserved(shortRun, shortRun));
  EXPECT_TRUE(record.leavesUnserved(shortRun - 1, shortRun));
  EXPECT_EQ(record.leaving(7).stage, StartFailure::Stage::Serving);
  record.mayLeave = false;
  EXPECT_EQ(record.leaving(7).stage, StartFailure::Stage::Listening);
  record.hasGreeted = true;
  EXPECT_FALSE(record.leavesUnserved(shortRun, shortRun));
  EXPECT_TRUE(record.leavesUnserved(shortRun - 1, shortRun));
}

TEST(InstanceRecord, LeavesNobodyUnservedWhereThatWasAskedForOrIsKnown) {
  for (bool InstanceRecord::*known :
       {&InstanceRecord::isAsked, &InstanceRecord::hasFailed, &InstanceRecord::saidStopped}) {
    InstanceRecord record;
    record.*known = true;
    EXPECT_FALSE(record.leavesUnserved(1, 1'000));
  }
}

}  // namespace
}  // namespace vanto::manager

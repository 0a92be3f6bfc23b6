// SPDX-License-Identifier: Apache-2.0

// How processes leave that are idle, or stop accepting for another reason.
#include <cerrno>

#include "LifeCycleFixture.h"

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;
using State = LifeCycleState;
using LifeCycleLeave = LifeCycleFixture;

TEST_F(LifeCycleLeave, StartsAnotherWhileTheOldOneFinishes) {
  serve();
  life.saidIdle(1, now);
  EXPECT_EQ(world.taken(), "leave 1");
  life.stoppedAccepting(1, now);
  EXPECT_EQ(world.taken(), "watch");
  EXPECT_EQ(life.state(), State::Resting);
  client();
  EXPECT_EQ(world.taken(), "spawn 2, unwatch");
  EXPECT_EQ(life.instances().size(), 2U);
  life.ended(1, exit0, now);
  EXPECT_EQ(life.current(), 2U);
  EXPECT_EQ(world.taken(), "");
}

TEST_F(LifeCycleLeave, KillsWhatDoesNotEndAfterItStopped) {
  serve();
  life.stoppedAccepting(1, now);
  EXPECT_EQ(world.timer, now + 20 * second);
  wait();
  EXPECT_EQ(world.taken(), "watch, kill 1");
  life.ended(1, {Ending::Kind::Signalled, 9}, now);
  EXPECT_EQ(life.failures(), 0U);
}

TEST_F(LifeCycleLeave, TakesAStopBeforeAnyGreetingForAFailure) {
  client();
  life.listening(1, now);
  life.stoppedAccepting(1, now + 40 * millisecond);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, tell greeting, watch");
  EXPECT_EQ(life.state(), State::Pausing);
  life.ended(1, exit0, now + 41 * millisecond);
  EXPECT_EQ(life.failures(), 1U);
}

TEST_F(LifeCycleLeave, LetsAServiceLeaveThatWasStartedForNobody) {
  life.start(now);
  life.listening(1, now);
  now += second;
  life.saidIdle(1, now);
  world.isWaiting = true;
  life.stoppedAccepting(1, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, leave 1, watch");
  EXPECT_EQ(life.failures(), 0U);
}

TEST_F(LifeCycleLeave, PausesAfterAServiceThatLeavesAtOnceWhileSomebodyWaits) {
  client();
  world.isWaiting = false;
  life.saidIdle(1, now);
  world.isWaiting = true;
  life.ended(1, exit0, now + millisecond);
  ASSERT_EQ(life.state(), State::Pausing);
  EXPECT_EQ(life.lastFailure()->stage, Stage::Serving);
  // Who came while it left waits for the next one.
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, leave 1, watch");
  client();
  wait();
  EXPECT_EQ(world.taken(), "unwatch, spawn 2");
}

TEST_F(LifeCycleLeave, MayNotLeaveThoseWhoWaitBeforeItHasGreetedAnybody) {
  client();
  life.listening(1, now);
  now += 2 * second;
  life.saidIdle(1, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch");
  now += second;
  life.ended(1, exit0, now);
  EXPECT_EQ(world.taken(), "tell greeting, watch");
  EXPECT_EQ(life.state(), State::Pausing);
}

TEST_F(LifeCycleLeave, LooksAtAProcessThatStaysIdleBesideThoseWhoWait) {
  client();
  life.listening(1, now);
  life.saidIdle(1, now);
  pass(second);
  life.saidIdle(1, now);
  pass(9 * second - 1);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch");
  pass(1);
  EXPECT_EQ(world.taken(), "tell listening, terminate 1") << "said again, and put off";
  EXPECT_EQ(world.told.error, ETIMEDOUT);
}

TEST_F(LifeCycleLeave, MayLeaveOnceItHasTakenThoseWhoWaited) {
  client();
  life.listening(1, now);
  life.saidIdle(1, now);
  life.greeted(1, now);
  EXPECT_EQ(world.timer, UINT64_MAX);
  life.saidIdle(1, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, leave 1");
}

TEST_F(LifeCycleLeave, LeavesThoseWhoCameLaterToTheNextOne) {
  client();
  life.listening(1, now);
  // The first one has gone before its greeting.
  world.isWaiting = false;
  now += 2 * second;
  life.saidIdle(1, now);
  world.isWaiting = true;
  life.stoppedAccepting(1, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, leave 1, watch");
  EXPECT_EQ(life.failures(), 0U);
}

}  // namespace
}  // namespace vanto::manager

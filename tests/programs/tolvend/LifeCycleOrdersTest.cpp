// SPDX-License-Identifier: Apache-2.0

// What people ask of a job.
#include "LifeCycleFixture.h"

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;
using State = LifeCycleState;
using LifeCycleOrders = LifeCycleFixture;

constexpr std::uint64_t second = 1'000'000'000;

TEST_F(LifeCycleOrders, StopsAndStartsForTheNextClient) {
  serve();
  life.stop(now);
  EXPECT_EQ(world.taken(), "terminate 1");
  EXPECT_EQ(life.state(), State::Stopping);
  life.saidIdle(1, now);
  life.stop(now + second);
  EXPECT_EQ(world.taken(), "");
  wait();
  EXPECT_EQ(now, 120 * second);
  EXPECT_EQ(world.taken(), "kill 1");
  life.ended(1, {Ending::Kind::Signalled, 9}, now);
  EXPECT_EQ(world.taken(), "watch");
  EXPECT_EQ(life.state(), State::Resting);
  EXPECT_EQ(life.failures(), 0U);
}

TEST_F(LifeCycleOrders, TellsEachClientThatItIsHeld) {
  serve();
  life.hold(now);
  EXPECT_EQ(world.taken(), "terminate 1, tell held, watch");
  EXPECT_EQ(life.state(), State::Held);
  client();
  life.ended(1, exit0, now);
  client();
  EXPECT_EQ(world.taken(), "tell held, tell held");
  life.start(now);
  EXPECT_EQ(world.taken(), "spawn 2, unwatch");
  EXPECT_EQ(life.state(), State::Starting);
}

TEST_F(LifeCycleOrders, StartsAfterTheOldOneWhenAskedWhileItStops) {
  serve();
  life.stop(now);
  life.start(now);
  EXPECT_EQ(world.taken(), "terminate 1");
  life.ended(1, exit0, now);
  EXPECT_EQ(world.taken(), "spawn 2");
}

TEST_F(LifeCycleOrders, ForgetsAStartThatWasAskedForWhenStoppedAgain) {
  serve();
  life.restart(now);
  life.stop(now);
  life.ended(1, exit0, now);
  EXPECT_EQ(world.taken(), "terminate 1, watch");
}

TEST_F(LifeCycleOrders, StartsNothingThatRuns) {
  serve();
  life.start(now);
  EXPECT_EQ(world.taken(), "");
  life.restart(now);
  life.stoppedAccepting(1, now);
  EXPECT_EQ(world.taken(), "terminate 1, spawn 2");
}

TEST_F(LifeCycleOrders, ForgetsThePauseWhenStarted) {
  serve();
  life.ended(1, crash, now);
  EXPECT_EQ(life.state(), State::Pausing);
  life.start(now);
  EXPECT_EQ(world.taken(), "watch, spawn 2, unwatch");
  EXPECT_EQ(life.earliestStart(), 0U);
}

TEST_F(LifeCycleOrders, DoesNothingMoreOnceRetired) {
  serve();
  life.retire(Stage::Removed, now);
  EXPECT_EQ(world.taken(), "terminate 1, tell removed");
  life.start(now);
  life.restart(now);
  life.hold(now);
  life.retire(Stage::Removed, now);
  life.connectionWaiting(now);
  EXPECT_EQ(world.taken(), "");
  wait();
  life.ended(1, crash, now);
  EXPECT_EQ(world.taken(), "kill 1");
  EXPECT_TRUE(life.isEmpty());
  EXPECT_EQ(world.timer, UINT64_MAX);
  EXPECT_EQ(life.failures(), 0U);
}

TEST(LifeCycleBeforeItBegins, HoldsAtOnceAndStartsLater) {
  ScriptedWorld world;
  LifeCycle life(world, BackOff(1));
  EXPECT_EQ(life.state(), State::Stopping);
  life.stop(second);
  EXPECT_EQ(world.taken(), "");
  life.hold(second);
  EXPECT_EQ(life.state(), State::Held);
  EXPECT_EQ(world.taken(), "tell held, watch");
  world.isWaiting = true;
  life.connectionWaiting(second);
  EXPECT_EQ(world.taken(), "tell held");
  life.start(second);
  EXPECT_EQ(life.state(), State::Stopping);
  EXPECT_EQ(world.taken(), "unwatch");
  EXPECT_FALSE(life.hasBegun());
  life.begin(2 * second);
  EXPECT_TRUE(life.hasBegun());
  EXPECT_EQ(world.taken(), "spawn 1");
}

}  // namespace
}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#include "tolvend/LifeCycle.h"

#include <cerrno>
#include <string>

#include "LifeCycleFixture.h"

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;
using State = LifeCycle::State;

using LifeCycleTest = LifeCycleFixture;

TEST_F(LifeCycleTest, StartsForTheFirstClient) {
  EXPECT_EQ(life.state(), State::Resting);
  client();
  EXPECT_EQ(world.taken(), "spawn 1, unwatch");
  EXPECT_EQ(life.state(), State::Starting);
  life.executed(1, now);
  EXPECT_EQ(life.state(), State::Starting);
  life.listening(1, now);
  EXPECT_EQ(life.state(), State::Running);
  EXPECT_EQ(life.starts(), 1U);
  EXPECT_EQ(world.timer, UINT64_MAX);
  EXPECT_EQ(world.taken(), "");
}

TEST_F(LifeCycleTest, RestsAfterANormalEnd) {
  serve();
  life.ended(1, exit0, now);
  EXPECT_EQ(world.taken(), "watch");
  EXPECT_EQ(life.state(), State::Resting);
  EXPECT_EQ(life.failures(), 0U);
  EXPECT_EQ(life.lastFailure(), nullptr);
}

TEST_F(LifeCycleTest, TriesAgainSoonAfterAStartThatFailed) {
  world.isSpawnFailing = true;
  for (int count = 1; count <= 3; ++count) {
    client();
    EXPECT_EQ(world.taken(), "spawn " + std::to_string(count) + ", tell proxy");
    EXPECT_EQ(life.state(), State::Pausing);
    EXPECT_EQ(life.earliestStart(), now + 100 * millisecond);
    EXPECT_EQ(world.told.error, ENOENT);
    wait();
    EXPECT_EQ(life.state(), State::Resting);
  }
  EXPECT_EQ(life.starts(), 0U);
  EXPECT_EQ(life.failures(), 3U);
}

TEST_F(LifeCycleTest, TellsWhatTheProxyTold) {
  client();
  life.executionFailed(1, {.stage = Stage::Executable, .error = EACCES}, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, tell executable, watch");
  EXPECT_EQ(life.current(), 0U);
  EXPECT_FALSE(life.isEmpty());
  life.ended(1, {Ending::Kind::Exited, 126}, now);
  EXPECT_TRUE(life.isEmpty());
  EXPECT_EQ(life.failures(), 1U);
  EXPECT_EQ(life.lastFailure()->error, EACCES);
  EXPECT_EQ(life.lastFailure()->instance, 1U);
}

TEST_F(LifeCycleTest, TellsOfAnEndBeforeListening) {
  client();
  life.executed(1, now);
  now += 5 * millisecond;
  life.ended(1, exit3, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, tell listening, watch");
  EXPECT_EQ(world.told.exitStatus, 3);
  EXPECT_EQ(world.told.signal, -1);
  EXPECT_EQ(world.told.ran, 5 * millisecond);
}

TEST_F(LifeCycleTest, TakesStatus0BeforeListeningForAFailureIfSomebodyWaits) {
  client();
  life.ended(1, exit0, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, tell listening, watch");
  EXPECT_EQ(life.state(), State::Pausing);
  life.start(now);
  life.ended(2, exit0, now);
  EXPECT_EQ(life.failures(), 1U);
  EXPECT_EQ(life.state(), State::Resting);
}

TEST_F(LifeCycleTest, TellsTheFailureAgainToTheClientThatConnectsAgain) {
  client();
  life.listening(1, now);
  world.isWaiting = false;
  life.ended(1, crash, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, tell greeting, watch");
  now += 49 * millisecond;
  client();
  EXPECT_EQ(world.taken(), "tell greeting");
  EXPECT_EQ(world.told.signal, 11);
  now += millisecond;
  client();
  EXPECT_EQ(world.taken(), "unwatch");
  wait();
  EXPECT_EQ(world.taken(), "spawn 2");
}

TEST_F(LifeCycleTest, StartsAgainForThoseWhoWaitAtACrash) {
  serve();
  world.isWaiting = true;
  life.ended(1, crash, now);
  EXPECT_EQ(world.taken(), "watch");
  EXPECT_EQ(life.lastFailure()->stage, Stage::Serving);
  client();
  EXPECT_EQ(world.taken(), "unwatch");
  const std::uint64_t due = life.earliestStart();
  wait();
  EXPECT_EQ(now, due);
  EXPECT_EQ(world.taken(), "spawn 2");
}

TEST_F(LifeCycleTest, EndsAProcessThatHasTheSocketThatWasReplaced) {
  serve();
  life.listenerReplaced(now);
  EXPECT_EQ(world.taken(), "terminate 1, watch");
  EXPECT_EQ(life.state(), State::Pausing);
  EXPECT_EQ(life.failures(), 1U);
  EXPECT_EQ(life.lastFailure()->stage, Stage::Serving);
  EXPECT_EQ(life.lastFailure()->error, ESHUTDOWN);
  life.ended(1, crash, now);
  EXPECT_EQ(life.failures(), 1U) << "its end was told already";
  client();
  EXPECT_EQ(world.taken(), "unwatch");
  wait();
  EXPECT_EQ(world.taken(), "spawn 2");
  // Somebody else's doing: there is no process to blame.
  life.ended(2, exit0, now);
  const std::uint64_t failures = life.failures();
  life.listenerReplaced(now);
  EXPECT_EQ(life.failures(), failures);
}

TEST_F(LifeCycleTest, WatchesAgainWhenThePatientClientIsGone) {
  serve();
  life.ended(1, crash, now);
  client();
  world.isWaiting = false;
  wait();
  EXPECT_EQ(world.taken(), "watch, unwatch, watch");
}

TEST_F(LifeCycleTest, TellsOfALongPauseAndStartsOnceItIsOver) {
  serve();
  for (int count = 0; count < 6; ++count) {
    life.ended(life.current(), crash, now);
    if (life.earliestStart() > now + second) break;
    wait();
    serve();
  }
  ASSERT_GT(life.earliestStart(), now + second);
  EXPECT_EQ(world.taken(), "watch");
  client();
  EXPECT_EQ(world.taken(), "tell pause");
  EXPECT_EQ(world.told.pause, life.earliestStart() - now);
  EXPECT_EQ(world.told.signal, 11);
  wait();
  EXPECT_EQ(life.state(), State::Resting);
  client();
  EXPECT_EQ(life.state(), State::Starting);
}

TEST_F(LifeCycleTest, TellsThoseWhoWaitWhenACrashMakesALongPause) {
  for (int count = 0; count < 8; ++count) {
    serve();
    world.isWaiting = count == 7;
    life.ended(life.current(), crash, now);
    if (count != 7) wait();
  }
  EXPECT_EQ(world.taken(), "tell pause, watch");
}

TEST_F(LifeCycleTest, TerminatesAProcessThatAcceptsNobody) {
  client();
  now += 3 * second;
  life.executed(1, now);
  pass(10 * second - 1);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch");
  pass(1);
  EXPECT_EQ(world.taken(), "tell listening, terminate 1");
  EXPECT_EQ(world.told.error, ETIMEDOUT);
  EXPECT_EQ(world.told.patience, 10 * second);
  EXPECT_EQ(life.state(), State::Stopping);
  life.ended(1, {Ending::Kind::Signalled, 15}, now);
  EXPECT_EQ(life.failures(), 1U);
}

TEST_F(LifeCycleTest, LooksAgainAtAProcessThatNeverSaidThatItListens) {
  client();
  life.executed(1, now);
  world.isWaiting = false;
  wait();
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, watch");
  EXPECT_EQ(life.state(), State::Running);
  EXPECT_EQ(world.timer, UINT64_MAX);
  client();
  EXPECT_EQ(world.taken(), "unwatch");
  EXPECT_EQ(world.timer, now + second);
  world.isWaiting = false;
  wait();
  EXPECT_EQ(world.taken(), "watch");
  client();
  pass(10 * second);
  EXPECT_EQ(world.taken(), "unwatch, tell listening, terminate 1");
}

TEST_F(LifeCycleTest, LeavesAProcessAloneThatAlwaysHasSomebodyWaiting) {
  client();
  life.executed(1, now);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch");
  for (int count = 0; count < 20; ++count) {
    // One request after the other, each as long as may be.
    pass(9 * second);
    EXPECT_EQ(world.taken(), "");
    world.hasAccepted = true;
    wait();
    EXPECT_EQ(world.taken(), "watch");
    EXPECT_EQ(life.state(), State::Running);
    client();
    EXPECT_EQ(world.taken(), "unwatch");
  }
  EXPECT_EQ(life.failures(), 0U);
  pass(10 * second);
  EXPECT_EQ(world.taken(), "tell listening, terminate 1");
}

TEST_F(LifeCycleTest, GivesAClientWhoComesLateAllTheTime) {
  life.start(now);
  life.executed(1, now);
  pass(8500 * millisecond);
  EXPECT_EQ(life.state(), State::Starting);
  world.isWaiting = true;
  pass(10 * second);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch");
  pass(500 * millisecond);
  EXPECT_EQ(world.taken(), "tell listening, terminate 1");
}

TEST_F(LifeCycleTest, TakesAProcessToAcceptForWhichNobodyComes) {
  life.start(now);
  life.executed(1, now);
  pass(10 * second - 1);
  EXPECT_EQ(life.state(), State::Starting);
  pass(1);
  EXPECT_EQ(life.state(), State::Running);
  EXPECT_EQ(world.taken(), "spawn 1, unwatch, watch");
  EXPECT_EQ(world.timer, UINT64_MAX);
}

TEST_F(LifeCycleTest, KeepsClientsWhenASilentServiceThatServedCrashes) {
  client();
  life.executed(1, now);
  world.isWaiting = false;
  wait();
  life.ended(1, crash, now);
  EXPECT_EQ(life.lastFailure()->stage, Stage::Serving);
}

TEST_F(LifeCycleTest, KeepsClientsWhenASilentServiceCrashesThatWasSeenToAcceptOneOfMany) {
  client();
  life.executed(1, now);
  // The next one waits already.
  world.hasAccepted = true;
  wait();
  client();
  world.taken();
  life.ended(1, crash, now);
  EXPECT_EQ(life.lastFailure()->stage, Stage::Serving);
  EXPECT_EQ(world.taken().find("tell"), std::string::npos);
}

TEST_F(LifeCycleTest, KeepsNoMoreThanSixteenProcesses) {
  for (InstanceId instance = 1; instance <= 16; ++instance) {
    serve();
    life.stoppedAccepting(instance, now);
  }
  EXPECT_EQ(world.taken(), "");
  EXPECT_EQ(life.state(), State::Stopping);
  life.ended(7, exit0, now);
  EXPECT_EQ(world.taken(), "watch");
}

TEST_F(LifeCycleTest, IgnoresCallsAboutOthers) {
  serve();
  const int changes = world.changes;
  for (const InstanceId instance : {0, 2, 99}) {
    life.executed(instance, now);
    life.executionFailed(instance, {}, now);
    life.listening(instance, now);
    life.greeted(instance, now);
    life.saidIdle(instance, now);
    life.stoppedAccepting(instance, now);
    life.ended(instance, crash, now);
  }
  EXPECT_EQ(world.taken(), "");
  EXPECT_EQ(world.changes, changes);
  EXPECT_EQ(life.current(), 1U);
}

TEST_F(LifeCycleTest, KillsWhatIsRejectedBeforeItTells) {
  client();
  static_cast<void>(world.taken());
  life.executed(1, now);
  life.rejected(1, "not confined", now);
  EXPECT_EQ(world.taken(), "kill 1, tell confinement");
  EXPECT_EQ(world.told.reason, "not confined");
  EXPECT_EQ(world.told.instance, 1U);
  EXPECT_EQ(life.state(), State::Stopping);
  EXPECT_EQ(life.failures(), 1U);
  life.rejected(1, "not confined", now);
  EXPECT_EQ(world.taken(), "kill 1");
  EXPECT_EQ(life.failures(), 1U);
  life.ended(1, {Ending::Kind::Signalled, 9}, now);
  EXPECT_EQ(world.taken(), "watch");
  EXPECT_EQ(life.failures(), 1U);
  EXPECT_EQ(life.state(), State::Pausing);
  // Whom it had accepted connects again by himself.
  client();
  EXPECT_EQ(world.taken(), "tell confinement");
  wait();
  client();
  EXPECT_EQ(world.taken(), "spawn 2, unwatch");
}

TEST_F(LifeCycleTest, KillsWhatIsRejectedWhileItEnds) {
  client();
  life.executed(1, now);
  life.stop(now);
  static_cast<void>(world.taken());
  life.rejected(1, "not confined", now);
  EXPECT_EQ(world.taken(), "kill 1");
  EXPECT_EQ(life.failures(), 0U);
  life.rejected(7, "nobody", now);
  EXPECT_EQ(world.taken(), "");
}

}  // namespace
}  // namespace vanto::manager

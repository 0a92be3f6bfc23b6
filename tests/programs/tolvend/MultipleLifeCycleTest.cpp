// SPDX-License-Identifier: Apache-2.0
#include "tolvend/MultipleLifeCycle.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "ScriptedMultipleWorld.h"
#include "value/limits.h"

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;
using State = LifeCycleState;

constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t second = 1'000'000'000;
constexpr Ending crash{Ending::Kind::Signalled, 11};
constexpr Ending exit0{Ending::Kind::Exited, 0};

class MultipleLifeCycleTest : public ::testing::Test {
 protected:
  MultipleLifeCycleTest() {
    life.begin(now);
    EXPECT_EQ(world.taken(), "watch");
  }

  void client(uid_t user = 1000) {
    world.waiting.push_back(user);
    life.connectionWaiting(now);
  }
  InstanceId serve(uid_t user = 1000) {
    client(user);
    if (life.instances().empty()) std::abort();
    const InstanceId instance = life.instances().back().id;
    life.executed(instance, now);
    life.listening(instance, now);
    life.greeted(instance, now);
    static_cast<void>(world.taken());
    return instance;
  }
  void end(InstanceId instance, Ending ending) {
    world.processes.erase(instance);
    life.ended(instance, ending, now);
  }
  void wait() {
    ASSERT_NE(world.timer, UINT64_MAX);
    now = std::exchange(world.timer, UINT64_MAX);
    life.timerExpired(now);
  }

  std::uint64_t now = 100 * second;
  ScriptedMultipleWorld world;
  InstanceLimit limit;
  MultipleLifeCycle life{world, limit, BackOff(1)};
};

TEST_F(MultipleLifeCycleTest, GivesEachClientAProcess) {
  client();
  client();
  EXPECT_EQ(world.taken(), "spawn 1, spawn 2");
  EXPECT_EQ(life.state(), State::Starting);
  life.executed(1, now);
  life.listening(1, now);
  EXPECT_EQ(life.state(), State::Running);
  EXPECT_EQ(world.taken(), "");
  life.greeted(1, now);
  EXPECT_EQ(world.taken(), "forget 1");
  life.stoppedAccepting(1, now);
  end(1, exit0);
  EXPECT_EQ(life.instances().size(), 1U);
  EXPECT_EQ(life.failures(), 0U);
  EXPECT_EQ(life.starts(), 2U);
}

TEST_F(MultipleLifeCycleTest, DoesNothingWhenTheClientIsGone) {
  life.connectionWaiting(now);
  EXPECT_EQ(world.taken(), "");
  EXPECT_TRUE(life.isEmpty());
}

TEST_F(MultipleLifeCycleTest, MakesNoProcessForAClientWhoHasLeft) {
  world.gone.insert(1);
  client();
  EXPECT_EQ(world.taken(), "forget 1");
  EXPECT_TRUE(life.isEmpty());
  EXPECT_EQ(life.starts(), 0U);
  EXPECT_EQ(life.failures(), 0U);
  client();
  EXPECT_EQ(world.taken(), "spawn 2");
}

TEST_F(MultipleLifeCycleTest, RefusesTheSeventeenthUntilAProcessHasEnded) {
  for (uid_t user = 1; user <= 16; ++user) serve(user);
  client(17);
  EXPECT_EQ(world.taken(), "refuse 17 limit");
  EXPECT_EQ(limit.count(17), 0U);
  EXPECT_EQ(life.failures(), 0U);
  // What it says does not count, only its end.
  life.stoppedAccepting(3, now);
  client(17);
  EXPECT_EQ(world.taken(), "refuse 18 limit");
  end(3, exit0);
  client(17);
  EXPECT_EQ(world.taken(), "spawn 19");
}

TEST_F(MultipleLifeCycleTest, CountsAUserOverAllJobs) {
  for (std::size_t count = 1; count < limits::instancesPerUser; ++count) ASSERT_TRUE(limit.take(1000));
  serve();
  client();
  EXPECT_EQ(world.taken(), "refuse 2 limit");
  client(1001);
  EXPECT_EQ(world.taken(), "spawn 3");
  end(1, crash);
  EXPECT_EQ(limit.count(1000), limits::instancesPerUser - 1);
}

TEST_F(MultipleLifeCycleTest, TellsTheClientWhyItsProcessWasNotMade) {
  world.isSpawnFailing = true;
  client();
  EXPECT_EQ(world.taken(), "spawn 1, refuse 1 resources");
  EXPECT_EQ(world.told.error, EAGAIN);
  EXPECT_EQ(limit.count(1000), 0U);
  EXPECT_EQ(life.earliestStart(), now + 100 * millisecond);
  EXPECT_EQ(life.state(), State::Pausing);
  client();
  EXPECT_EQ(world.taken(), "unwatch");
  wait();
  EXPECT_EQ(world.taken(), "watch");
}

TEST_F(MultipleLifeCycleTest, TellsTheClientWhyItsProcessWasNotExecuted) {
  client();
  life.executionFailed(1, {.stage = Stage::Executable, .error = ENOENT}, now);
  EXPECT_EQ(world.taken(), "spawn 1, refuse 1 executable");
  EXPECT_EQ(limit.count(1000), 1U);
  end(1, {Ending::Kind::Exited, 127});
  EXPECT_EQ(limit.count(1000), 0U);
  EXPECT_EQ(life.failures(), 1U);
  EXPECT_EQ(world.taken(), "");
}

TEST_F(MultipleLifeCycleTest, TellsTheClientHowItsProcessEndedBeforeTheGreeting) {
  client();
  end(1, exit0);
  EXPECT_EQ(world.taken(), "spawn 1, refuse 1 listening");
  life.start(now);
  client();
  life.listening(2, now);
  end(2, crash);
  EXPECT_EQ(world.taken(), "spawn 2, refuse 2 greeting");
  EXPECT_EQ(life.failures(), 2U);
}

TEST_F(MultipleLifeCycleTest, TakesNoEndAfterListeningForAFailureWithoutACrash) {
  client();
  life.listening(1, now);
  end(1, exit0);
  EXPECT_EQ(world.taken(), "spawn 1, refuse 1 greeting");
  EXPECT_EQ(life.failures(), 0U);
  EXPECT_EQ(life.state(), State::Resting);
}

TEST_F(MultipleLifeCycleTest, BlamesNoServiceForClientsWhoLeaveBeforeTheGreeting) {
  for (const Ending ending : {exit0, Ending{Ending::Kind::Exited, 1}, Ending{Ending::Kind::Signalled, 13}}) {
    for (const bool saysListening : {false, true}) {
      for (const bool saysStopped : {false, true}) {
        client();
        const InstanceId instance = life.instances().back().id;
        life.executed(instance, now);
        if (saysListening) life.listening(instance, now);
        world.gone.insert(instance);
        if (saysStopped) life.stoppedAccepting(instance, now);
        end(instance, ending);
        EXPECT_EQ(life.failures(), 0U) << ending.value << saysListening << saysStopped;
        EXPECT_EQ(life.state(), State::Resting);
      }
    }
  }
  EXPECT_TRUE(world.connections.empty());
  // An honest client meanwhile waits for nothing, and finds out when it is the service's fault.
  client();
  end(life.instances().back().id, crash);
  EXPECT_EQ(life.failures(), 1U);
}

TEST_F(MultipleLifeCycleTest, BlamesAServiceThatCrashesWhenItsClientLeavesAfterTheGreeting) {
  const InstanceId instance = serve();
  world.gone.insert(instance);
  end(instance, crash);
  EXPECT_EQ(life.failures(), 1U);
}

TEST_F(MultipleLifeCycleTest, BlamesNoServiceThatIsSilentWhenItsClientHadLeft) {
  client();
  life.executed(1, now);
  world.gone.insert(1);
  wait();
  EXPECT_EQ(world.taken(), "spawn 1, forget 1");
  end(1, crash);
  EXPECT_EQ(life.failures(), 0U);
}

TEST_F(MultipleLifeCycleTest, PausesLongerWithEachCrashAndTellsOfIt) {
  for (int count = 0; count < 6 && life.earliestStart() == 0; ++count) {
    const InstanceId instance = serve();
    end(instance, crash);
    if (life.earliestStart() <= now + second) wait();
  }
  static_cast<void>(world.taken());
  ASSERT_GT(life.earliestStart(), now + second);
  client();
  EXPECT_EQ(world.taken(), "tell pause");
  EXPECT_EQ(world.told.pause, life.earliestStart() - now);
  life.start(now);
  client();
  EXPECT_EQ(life.state(), State::Starting);
}

TEST_F(MultipleLifeCycleTest, ForgetsTheConnectionOfAProcessThatSaysNothing) {
  client();
  life.executed(1, now);
  wait();
  EXPECT_EQ(now, 110 * second);
  EXPECT_EQ(world.taken(), "spawn 1, forget 1");
  EXPECT_EQ(life.state(), State::Running);
}

TEST_F(MultipleLifeCycleTest, EndsAProcessThatIsNeverExecuted) {
  client();
  wait();
  EXPECT_EQ(world.taken(), "spawn 1, refuse 1 listening, terminate 1");
  EXPECT_EQ(world.told.error, ETIMEDOUT);
  EXPECT_EQ(world.told.patience, 10 * second);
  while (world.killed.empty()) wait();
  EXPECT_EQ(now, 130 * second);
}

TEST_F(MultipleLifeCycleTest, LetsClientsWaitWhileAllAreStopped) {
  serve();
  serve();
  client();
  life.stop(now);
  EXPECT_EQ(world.taken(), "spawn 3, terminate 1, terminate 2, terminate 3, unwatch");
  EXPECT_EQ(life.state(), State::Stopping);
  end(1, exit0);
  // Its client was not greeted, and connects again.
  end(3, {Ending::Kind::Signalled, 15});
  EXPECT_EQ(world.taken(), "forget 3");
  wait();
  EXPECT_EQ(world.taken(), "kill 2");
  end(2, {Ending::Kind::Signalled, 9});
  EXPECT_EQ(world.taken(), "watch");
  EXPECT_EQ(life.failures(), 0U);
}

TEST_F(MultipleLifeCycleTest, TellsEachClientThatItIsHeld) {
  serve();
  life.hold(now);
  client();
  EXPECT_EQ(world.taken(), "terminate 1, tell held, tell held");
  EXPECT_EQ(life.state(), State::Held);
  life.restart(now);
  EXPECT_EQ(world.taken(), "unwatch");
  end(1, exit0);
  client();
  EXPECT_EQ(world.taken(), "watch, spawn 2");
}

TEST_F(MultipleLifeCycleTest, DoesNothingMoreOnceRetired) {
  serve();
  life.retire(Stage::Removed, now);
  life.retire(Stage::Removed, now);
  life.hold(now);
  life.start(now);
  client();
  EXPECT_EQ(world.taken(), "terminate 1, tell removed, unwatch");
  wait();
  end(1, crash);
  EXPECT_EQ(world.taken(), "kill 1");
  EXPECT_EQ(world.timer, UINT64_MAX);
}

TEST_F(MultipleLifeCycleTest, HoldsAtOnceBeforeItBegins) {
  ScriptedMultipleWorld other;
  MultipleLifeCycle early(other, limit, BackOff(1));
  EXPECT_EQ(early.state(), State::Stopping);
  early.hold(now);
  EXPECT_EQ(early.state(), State::Held);
  EXPECT_EQ(other.taken(), "tell held, watch");
  early.start(now);
  EXPECT_EQ(early.state(), State::Stopping);
  EXPECT_EQ(other.taken(), "unwatch");
  early.begin(now);
  EXPECT_EQ(early.state(), State::Resting);
  EXPECT_EQ(other.taken(), "watch");
}

TEST_F(MultipleLifeCycleTest, GivesBackWhatItCountsWhenItEnds) {
  {
    ScriptedMultipleWorld other;
    MultipleLifeCycle ending(other, limit, BackOff(1));
    ending.begin(now);
    other.waiting.push_back(1000);
    ending.connectionWaiting(now);
    EXPECT_EQ(limit.count(1000), 1U);
  }
  EXPECT_EQ(limit.count(1000), 0U);
}

TEST_F(MultipleLifeCycleTest, IgnoresCallsAboutOthers) {
  serve();
  for (const InstanceId instance : {0, 2}) {
    life.executed(instance, now);
    life.executionFailed(instance, {}, now);
    life.listening(instance, now);
    life.greeted(instance, now);
    life.stoppedAccepting(instance, now);
    life.ended(instance, crash, now);
  }
  EXPECT_EQ(world.taken(), "");
  EXPECT_EQ(life.instances().size(), 1U);
}

TEST_F(MultipleLifeCycleTest, KillsWhatIsRejectedBeforeItTells) {
  const InstanceId served = serve();
  client();
  EXPECT_EQ(world.taken(), "spawn 2");
  life.executed(2, now);
  life.rejected(2, "not confined", now);
  EXPECT_EQ(world.taken(), "kill 2, refuse 2 confinement");
  EXPECT_EQ(world.told.reason, "not confined");
  EXPECT_EQ(life.failures(), 1U);
  life.rejected(2, "not confined", now);
  EXPECT_EQ(world.taken(), "kill 2");
  end(2, {Ending::Kind::Signalled, 9});
  EXPECT_EQ(life.failures(), 1U);
  EXPECT_EQ(life.state(), State::Pausing);
  life.rejected(served, "too late for its client", now);
  EXPECT_EQ(world.taken(), "kill 1");
  EXPECT_EQ(life.failures(), 2U);
  life.rejected(7, "nobody", now);
  EXPECT_EQ(world.taken(), "");
}

}  // namespace
}  // namespace vanto::manager

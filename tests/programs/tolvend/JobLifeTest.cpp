// SPDX-License-Identifier: Apache-2.0

// What holds of each job, however many processes it has at a time.
#include "tolvend/JobLife.h"

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "ScriptedMultipleWorld.h"
#include "ScriptedWorld.h"

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;

constexpr std::uint64_t second = 1'000'000'000;

/// One process at a time.
struct Single {
  ScriptedWorld world;
  LifeCycle life{world, BackOff(1)};

  void arrive() { world.isWaiting = true; }
};

/// One process for each client.
struct Multiple {
  ScriptedMultipleWorld world;
  InstanceLimit limit;
  MultipleLifeCycle life{world, limit, BackOff(1)};

  void arrive() { world.waiting.push_back(1000); }
};

template <typename Job>
class JobLifeTest : public testing::Test {
 protected:
  JobLifeTest() { life.begin(now); }

  void client() {
    job.arrive();
    life.connectionWaiting(now);
  }
  void serve() {
    client();
    const InstanceId instance = life.instances().back().id;
    life.executed(instance, now);
    life.greeted(instance, now);
    static_cast<void>(job.world.taken());
  }
  void end(Ending ending) {
    const InstanceId instance = life.instances().front().id;
    if constexpr (std::is_same_v<Job, Multiple>) job.world.processes.erase(instance);
    life.ended(instance, ending, now);
  }
  void wait() {
    ASSERT_NE(job.world.timer, UINT64_MAX);
    now = std::exchange(job.world.timer, UINT64_MAX);
    life.timerExpired(now);
  }
  [[nodiscard]] bool hasAsked(const std::string& what) { return job.world.taken().find(what) != std::string::npos; }

  std::uint64_t now = 100 * second;
  Job job;
  JobLife& life = job.life;
};

using Kinds = testing::Types<Single, Multiple>;
TYPED_TEST_SUITE(JobLifeTest, Kinds);

TYPED_TEST(JobLifeTest, KillsAProcessThatDoesNotEndWhenItIsAskedTo) {
  this->serve();
  this->life.stop(this->now);
  EXPECT_TRUE(this->hasAsked("terminate 1"));
  EXPECT_EQ(this->life.state(), LifeCycleState::Stopping);
  this->life.stop(this->now);
  EXPECT_FALSE(this->hasAsked("terminate")) << "asked twice";
  this->wait();
  EXPECT_EQ(this->now, 120 * second);
  EXPECT_TRUE(this->hasAsked("kill 1"));
  EXPECT_EQ(this->job.world.timer, UINT64_MAX);
}

TYPED_TEST(JobLifeTest, TellsThoseWhoComeWhileItIsHeld) {
  this->life.hold(this->now);
  EXPECT_TRUE(this->hasAsked("tell held"));
  this->client();
  EXPECT_TRUE(this->hasAsked("tell held"));
  EXPECT_EQ(this->life.starts(), 0U);
  EXPECT_EQ(this->life.state(), LifeCycleState::Held);
}

TYPED_TEST(JobLifeTest, IsHeldOrRetiredNoMoreOnceItIsRetired) {
  this->life.retire(Stage::Manager, this->now);
  EXPECT_TRUE(this->hasAsked("tell manager, unwatch"));
  this->life.hold(this->now);
  this->life.retire(Stage::Removed, this->now);
  this->client();
  EXPECT_EQ(this->job.world.taken(), "");
  EXPECT_EQ(this->life.starts(), 0U);
}

TYPED_TEST(JobLifeTest, PutsClientsOffUntilAShortPauseIsOver) {
  this->serve();
  this->end({Ending::Kind::Signalled, 11});
  EXPECT_EQ(this->life.failures(), 1U);
  static_cast<void>(this->job.world.taken());
  this->client();
  EXPECT_EQ(this->job.world.taken(), "unwatch");
  this->client();
  EXPECT_EQ(this->job.world.taken(), "") << "reported though it is not watched";
  this->wait();
  EXPECT_EQ(this->life.earliestStart(), 0U);
}

TYPED_TEST(JobLifeTest, TellsOfALongPause) {
  while (this->life.earliestStart() <= this->now + second) {
    if (this->life.earliestStart() != 0) this->wait();
    this->serve();
    this->end({Ending::Kind::Signalled, 11});
  }
  static_cast<void>(this->job.world.taken());
  this->client();
  EXPECT_TRUE(this->hasAsked("tell pause"));
  EXPECT_EQ(this->job.world.told.pause, this->life.earliestStart() - this->now);
}

TYPED_TEST(JobLifeTest, SetsItsTimerAgainWhenThatCameEarly) {
  this->client();
  const std::uint64_t deadline = std::exchange(this->job.world.timer, UINT64_MAX);
  this->life.timerExpired(deadline - 1);
  EXPECT_EQ(this->job.world.timer, deadline);
  EXPECT_EQ(this->life.failures(), 0U);
}

TYPED_TEST(JobLifeTest, SaysWhatChangesAndNothingElse) {
  int changes = this->job.world.changes;
  const auto hasChanged = [&] {
    return this->job.world.changes > std::exchange(changes, this->job.world.changes);
  };
  this->client();
  EXPECT_TRUE(hasChanged());
  this->life.executed(1, this->now);
  EXPECT_FALSE(hasChanged());
  this->life.listening(1, this->now);
  EXPECT_TRUE(hasChanged());
  this->end({Ending::Kind::Signalled, 11});
  EXPECT_TRUE(hasChanged());
  this->wait();
  EXPECT_TRUE(hasChanged());
}

}  // namespace
}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0

// Random walks through the life of a job with several instances.
#include <algorithm>
#include <cerrno>
#include <random>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "ScriptedMultipleWorld.h"
#include "value/limits.h"

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;

constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t second = 1'000'000'000;
constexpr Ending crash{Ending::Kind::Signalled, 11};
constexpr Ending exit0{Ending::Kind::Exited, 0};

/// Anything, in any order. A process has ended when this says so, and nothing else counts.
class MultipleWalk {
 public:
  explicit MultipleWalk(std::uint64_t seed) : random_(seed) { life_.begin(now_); }

  void walk() {
    for (int step = 0; step < 150 && !::testing::Test::HasFailure(); ++step) {
      now_ += random_() % (random_() % 4 == 0 ? 5 * second : 20 * millisecond);
      while (world_.timer <= now_)
        life_.timerExpired(std::exchange(world_.timer, UINT64_MAX) + random_() % millisecond);
      act();
      // Level-triggered, so all who can be served are.
      for (int round = 0; round < 100 && world_.isWatching && !world_.waiting.empty(); ++round) {
        life_.connectionWaiting(now_);
      }
      check();
    }
    life_.retire(StartFailure::Stage::Removed, now_);
    world_.isClosed = true;
    for (int round = 0; round < 100; ++round) {
      while (!world_.killed.empty()) end(world_.killed.back(), {Ending::Kind::Signalled, 9});
      if (world_.timer == UINT64_MAX) break;
      now_ = std::exchange(world_.timer, UINT64_MAX);
      life_.timerExpired(now_);
    }
    EXPECT_TRUE(life_.isEmpty());
    EXPECT_TRUE(world_.connections.empty());
    for (uid_t user = 0; user < 3; ++user) EXPECT_EQ(limit_.count(user), 0U);
  }

 private:
  void act() {
    InstanceId any = 0;
    if (!world_.processes.empty()) {
      any = std::next(world_.processes.begin(), static_cast<long>(random_() % world_.processes.size()))->first;
    }
    world_.isSpawnFailing = random_() % 20 == 0;
    switch (random_() % 25) {
      case 0:
        world_.isClosed = false;
        return life_.start(now_);
      case 1:
        return life_.stop(now_);
      case 2:
        if (random_() % 3 != 0) return;
        life_.hold(now_);
        world_.isClosed = true;
        return;
      case 3:
        world_.isClosed = false;
        return life_.restart(now_);
      case 4:
        return life_.executionFailed(any, {.stage = Stage::Executable, .error = ENOENT}, now_);
      case 5:
        return life_.stoppedAccepting(any, now_);
      case 6:
        return end(any, random_() % 3 == 0 ? crash : exit0);
      case 7:
        if (!world_.killed.empty()) end(world_.killed.back(), {Ending::Kind::Signalled, 9});
        return;
      case 8:
      case 9:
        return life_.executed(any, now_);
      case 10:
      case 11:
        return life_.listening(any, now_);
      case 12:
      case 13:
        return life_.greeted(any, now_);
      case 14:
        world_.gone.insert(any);
        return;
      default:
        world_.waiting.push_back(static_cast<uid_t>(random_() % 3));
    }
  }

  void end(InstanceId instance, Ending ending) {
    world_.processes.erase(instance);
    std::erase(world_.killed, instance);
    const bool hasLeft = world_.connections.contains(instance) && world_.gone.contains(instance);
    const std::uint64_t failures = life_.failures();
    life_.ended(instance, ending, now_);
    if (hasLeft) {
      EXPECT_EQ(life_.failures(), failures) << "a service is blamed for a client who has left";
    }
  }

  void check() {
    EXPECT_EQ(life_.instances().size(), world_.processes.size());
    EXPECT_LE(life_.instances().size(), limits::instancesPerJob);
    for (uid_t user = 0; user < 3; ++user) {
      const auto count =
          std::ranges::count_if(world_.processes, [&](const auto& entry) { return entry.second == user; });
      EXPECT_EQ(limit_.count(user), static_cast<std::size_t>(count));
    }
    for (const auto& [instance, user] : world_.connections) EXPECT_TRUE(world_.processes.contains(instance));
    // Who waits is reported, or something else will come to an end.
    if (!world_.waiting.empty() && !world_.isWatching) {
      EXPECT_TRUE(world_.timer != UINT64_MAX || !world_.killed.empty());
    }
  }

  std::mt19937_64 random_;
  std::uint64_t now_ = 100 * second;
  ScriptedMultipleWorld world_;
  InstanceLimit limit_;
  MultipleLifeCycle life_{world_, limit_, BackOff(random_())};
};

TEST(MultipleLifeCycleWalk, CountsByTruthWhateverHappens) {
  for (std::uint64_t seed = 1; seed <= 500 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    MultipleWalk(seed).walk();
  }
}

}  // namespace
}  // namespace vanto::manager

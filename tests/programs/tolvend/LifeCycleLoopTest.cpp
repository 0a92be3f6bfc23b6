// SPDX-License-Identifier: Apache-2.0

// Services that come and go without end, and clients who come back each time.
#include <algorithm>

#include <gtest/gtest.h>

#include "ScriptedWorld.h"

namespace vanto::manager {
namespace {

constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t second = 1'000'000'000;
constexpr Ending exit0{Ending::Kind::Exited, 0};

/// How often a service is started within a minute for one client who comes back whenever it is told something.
struct Loop {
  std::uint64_t starts = 0;
  int told = 0;
};

template <typename Say>
Loop startedInAMinute(std::uint64_t run, const Say& say) {
  ScriptedWorld world;
  LifeCycle life(world, BackOff(1));
  std::uint64_t now = 100 * second;
  Loop loop;
  for (life.begin(now); now < 160 * second && life.starts() < 1000;) {
    loop.told += world.isWaiting ? 0 : 1;
    world.isWaiting = true;
    life.connectionWaiting(now);
    if (const InstanceId instance = life.current(); instance != 0) {
      life.executed(instance, now);
      say(life, instance, now);
      life.ended(instance, exit0, now += run);
    } else if (world.isWaiting) {
      now = std::max(now + millisecond, life.earliestStart());
      life.timerExpired(now);
    } else {
      now += 100 * millisecond;
      if (world.timer <= now) life.timerExpired(now);
    }
  }
  loop.starts = life.starts();
  return loop;
}

TEST(LifeCycleLoop, IsPutOffWhateverTheServiceSays) {
  const Loop loops[] = {
      startedInAMinute(millisecond, [](LifeCycle& life, InstanceId id, std::uint64_t now) { life.saidIdle(id, now); }),
      startedInAMinute(millisecond,
                       [](LifeCycle& life, InstanceId id, std::uint64_t now) {
                         life.listening(id, now);
                         life.saidIdle(id, now);
                       }),
      startedInAMinute(millisecond, [](LifeCycle& life, InstanceId id, std::uint64_t now) { life.greeted(id, now); }),
      startedInAMinute(millisecond,
                       [](LifeCycle& life, InstanceId id, std::uint64_t now) {
                         life.greeted(id, now);
                         life.stoppedAccepting(id, now);
                       }),
      startedInAMinute(millisecond, [](LifeCycle&, InstanceId, std::uint64_t) {})};
  for (const Loop& loop : loops) {
    EXPECT_GT(loop.starts, 3U);
    EXPECT_LT(loop.starts, 14U);
    EXPECT_GT(loop.told, 100);
  }
}

TEST(LifeCycleLoop, IsPutOffHoweverLongTheServiceRunsThatAcceptsNobody) {
  for (const bool saysListening : {false, true}) {
    const Loop loop =
        startedInAMinute(1100 * millisecond, [=](LifeCycle& life, InstanceId instance, std::uint64_t now) {
          if (saysListening) life.listening(instance, now);
          life.saidIdle(instance, now);
        });
    EXPECT_GT(loop.starts, 3U);
    EXPECT_LT(loop.starts, 14U);
    EXPECT_GT(loop.told, 100);
  }
}

}  // namespace
}  // namespace vanto::manager

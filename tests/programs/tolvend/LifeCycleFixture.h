// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

#include <gtest/gtest.h>

#include "ScriptedWorld.h"
#include "tolvend/LifeCycle.h"

namespace vanto::manager {

/// The life of a job with one process at a time, which has begun, in a scripted world.
class LifeCycleFixture : public testing::Test {
 protected:
  static constexpr std::uint64_t millisecond = 1'000'000;
  static constexpr std::uint64_t second = 1'000'000'000;
  static constexpr Ending crash{Ending::Kind::Signalled, 11};
  static constexpr Ending exit0{Ending::Kind::Exited, 0};
  static constexpr Ending exit3{Ending::Kind::Exited, 3};

  LifeCycleFixture() {
    life.begin(now);
    EXPECT_EQ(world.taken(), "watch");
  }

  void client() {
    world.isWaiting = true;
    life.connectionWaiting(now);
  }
  /// A process that listens, and has greeted its client.
  void serve() {
    client();
    life.executed(life.current(), now);
    life.listening(life.current(), now);
    world.isWaiting = false;
    life.greeted(life.current(), now);
    static_cast<void>(world.taken());
  }
  /// Lets the time of the timer come.
  void wait() {
    ASSERT_NE(world.timer, UINT64_MAX);
    now = std::exchange(world.timer, UINT64_MAX);
    life.timerExpired(now);
  }
  /// Lets time pass, with each time that the timer is set to in it.
  void pass(std::uint64_t time) {
    for (const std::uint64_t end = now + time; now != end;) {
      now = std::min(world.timer, end);
      if (world.timer > now) continue;
      world.timer = UINT64_MAX;
      life.timerExpired(now);
    }
  }

  std::uint64_t now = 100 * second;
  ScriptedWorld world;
  LifeCycle life{world, BackOff(1)};
};

}  // namespace vanto::manager

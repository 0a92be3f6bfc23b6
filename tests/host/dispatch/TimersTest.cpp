// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Timers.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <sys/timerfd.h>

#include "host/dispatch/Watching.h"

namespace {

using vanto::Ref;
using vanto::Timers;
using vanto::WatchTable;
using vanto::testing::Watching;

constexpr std::uint64_t second = 1'000'000'000;

class TimersOfATest : public testing::Test {
 protected:
  TimersOfATest() { timers_.setDescriptor(descriptor_.get()); }
  ~TimersOfATest() override {
    for (const std::uint64_t name : names_) {
      if (WatchTable::Place* const place = table_.pin(name)) {
        table_.close(*place, name);
        timers_.remove(*place);
        table_.unpin(*place);
      }
    }
    EXPECT_EQ(takeDue(UINT64_MAX - 1), nullptr);
  }

  WatchTable::Place& makePlace() {
    const Ref<Watching> object = Watching::create([](std::uint32_t) {});
    names_.push_back(table_.add(*object));
    WatchTable::Place* const place = table_.pin(names_.back());
    table_.unpin(*place);
    return *place;
  }

  /// The place whose timer is due, with its pin dropped.
  WatchTable::Place* takeDue(std::uint64_t now) {
    WatchTable::Place* const place = timers_.takeDue(table_, now);
    if (place != nullptr) table_.unpin(*place);
    return place;
  }

  /// When the descriptor becomes ready, in nanoseconds from now; 0 for never or already.
  [[nodiscard]] std::uint64_t armedIn() const {
    itimerspec value{};
    EXPECT_EQ(timerfd_gettime(descriptor_.get(), &value), 0);
    return static_cast<std::uint64_t>(value.it_value.tv_sec) * second +
           static_cast<std::uint64_t>(value.it_value.tv_nsec);
  }

  const vanto::Fd descriptor_{timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)};
  // Never freed, like those there are.
  static constinit inline WatchTable table_;
  static constinit inline Timers timers_;
  std::vector<std::uint64_t> names_;
};

TEST_F(TimersOfATest, TakesOutNothingBeforeItIsDue) {
  timers_.set(makePlace(), 100);
  EXPECT_EQ(takeDue(99), nullptr);
  EXPECT_NE(takeDue(100), nullptr);
  EXPECT_EQ(takeDue(101), nullptr);
}

TEST_F(TimersOfATest, TakesOutTheEarliestFirst) {
  std::vector<std::uint64_t> deadlines(500);
  for (std::size_t i = 0; i < deadlines.size(); ++i) deadlines[i] = 10 * i + 1;
  std::shuffle(deadlines.begin(), deadlines.end(), std::mt19937(7));
  for (const std::uint64_t deadline : deadlines) timers_.set(makePlace(), deadline);
  for (std::uint64_t due = 1; due < 5'000; due += 10) {
    EXPECT_EQ(takeDue(due - 1), nullptr);
    EXPECT_NE(takeDue(due), nullptr);
  }
}

TEST_F(TimersOfATest, KeepsToTheDeadlineSetLast) {
  WatchTable::Place& place = makePlace();
  timers_.set(place, 100);
  timers_.set(place, 300);
  EXPECT_EQ(takeDue(299), nullptr);
  timers_.set(place, 250);
  EXPECT_EQ(takeDue(249), nullptr);
  EXPECT_EQ(takeDue(250), &place);
  EXPECT_EQ(takeDue(1'000), nullptr);
}

TEST_F(TimersOfATest, FindsATimerBehindOneThatMovedToALaterTime) {
  WatchTable::Place& moved = makePlace();
  WatchTable::Place& other = makePlace();
  timers_.set(moved, 100);
  timers_.set(other, 200);
  timers_.set(moved, 300);
  EXPECT_EQ(takeDue(250), &other);
  EXPECT_EQ(takeDue(300), &moved);
}

TEST_F(TimersOfATest, ForgetsATimerThatWasTakenAway) {
  WatchTable::Place& place = makePlace();
  timers_.set(place, 100);
  timers_.set(place, UINT64_MAX);
  EXPECT_EQ(takeDue(1'000), nullptr);
  timers_.set(place, 2'000);
  EXPECT_EQ(takeDue(2'000), &place);
}

TEST_F(TimersOfATest, RemovesTimersFromTheMiddle) {
  std::vector<WatchTable::Place*> places;
  for (std::uint64_t i = 0; i < 100; ++i) {
    places.push_back(&makePlace());
    timers_.set(*places.back(), (i * 37) % 100 + 1);
  }
  for (std::size_t i = 0; i < 100; i += 2) timers_.remove(*places[i]);
  for (std::size_t i = 1; i < 100; ++i) {
    const std::size_t index = static_cast<std::size_t>(i * 73) % 100;
    // 73 is the inverse of 37 modulo 100: this is the place whose deadline is i + 1.
    EXPECT_EQ(takeDue(i + 1), index % 2 == 0 ? nullptr : places[index]);
  }
}

TEST_F(TimersOfATest, SetsNothingForAClosedPlace) {
  WatchTable::Place& place = makePlace();
  WatchTable::Place* const pinned = table_.pin(names_.back());
  table_.close(*pinned, names_.back());
  timers_.set(*pinned, 100);
  EXPECT_EQ(place.heapPosition, 0U);
  EXPECT_EQ(takeDue(100), nullptr);
  table_.unpin(*pinned);
}

TEST_F(TimersOfATest, ArmsTheDescriptorForTheEarliest) {
  const std::uint64_t now = vanto::monotonicNow();
  timers_.set(makePlace(), now + 200 * second);
  EXPECT_GT(armedIn(), 150 * second);
  timers_.set(makePlace(), now + 100 * second);
  EXPECT_GT(armedIn(), 50 * second);
  EXPECT_LE(armedIn(), 100 * second);
}

TEST_F(TimersOfATest, LeavesTheDescriptorAloneForALaterDeadline) {
  WatchTable::Place& place = makePlace();
  timers_.set(place, vanto::monotonicNow() + 100 * second);
  // Whatever would touch the descriptor now would arm it again.
  const itimerspec disarmed{};
  ASSERT_EQ(timerfd_settime(descriptor_.get(), 0, &disarmed, nullptr), 0);
  timers_.set(place, vanto::monotonicNow() + 300 * second);
  timers_.set(place, UINT64_MAX);
  timers_.set(place, vanto::monotonicNow() + 200 * second);
  timers_.set(makePlace(), vanto::monotonicNow() + 150 * second);
  EXPECT_EQ(armedIn(), 0U);
}

TEST_F(TimersOfATest, ArmsTheDescriptorAgainForWhatIsLeft) {
  const std::uint64_t now = vanto::monotonicNow();
  timers_.set(makePlace(), now);
  timers_.set(makePlace(), now + 100 * second);
  EXPECT_NE(takeDue(now), nullptr);
  EXPECT_GT(armedIn(), 50 * second);
}

TEST_F(TimersOfATest, LeavesNothingArmedWhereItShallNotWakeInVain) {
  // Timers are never destroyed.
  static Timers timers;
  timers.setDescriptor(descriptor_.get());
  timers.disarmWhenEmpty();
  WatchTable::Place& first = makePlace();
  WatchTable::Place& other = makePlace();
  timers.set(first, vanto::monotonicNow() + 100 * second);
  timers.set(other, vanto::monotonicNow() + 200 * second);
  timers.set(first, UINT64_MAX);
  EXPECT_NE(armedIn(), 0U);
  timers.remove(other);
  EXPECT_EQ(armedIn(), 0U);
  timers.set(first, vanto::monotonicNow() + 100 * second);
  EXPECT_GT(armedIn(), 50 * second);
  timers.remove(first);
  EXPECT_EQ(armedIn(), 0U);
}

}  // namespace

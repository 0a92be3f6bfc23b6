// SPDX-License-Identifier: Apache-2.0
#include "ipc/Activity.h"

#include <atomic>
#include <cstdlib>

namespace vanto {

namespace {

constinit std::atomic<std::size_t> handCount{0};
constinit std::atomic<std::size_t> connectionCount{0};
constinit std::atomic<bool> tracked{false};
constinit std::atomic<bool> ending{false};
constinit std::atomic<bool> hasEnded{false};

void endProcess() noexcept {
  // exit() must run once; who comes second returns to what it was doing while the process ends.
  if (!hasEnded.exchange(true)) std::exit(0);
}

}  // namespace

void Activity::began() noexcept {
  // These and the flag are sequentially consistent: either this thread sees the flag, or who sets it sees the count.
  handCount.fetch_add(1);
}

void Activity::ended() noexcept {
  if (handCount.fetch_sub(1) == 1 && ending.load()) endProcess();
}

void Activity::connectionOpened() noexcept {
  connectionCount.fetch_add(1, std::memory_order_relaxed);
}

void Activity::connectionClosed() noexcept {
  connectionCount.fetch_sub(1, std::memory_order_relaxed);
}

void Activity::track() noexcept {
  tracked.store(true, std::memory_order_relaxed);
}

bool Activity::isTracked() noexcept {
  return tracked.load(std::memory_order_relaxed);
}

bool Activity::isEnding() noexcept {
  return ending.load();
}

void Activity::endWhenIdle() noexcept {
  // Held while the flag is set, so that a thread that finishes something just then does not end the process twice.
  began();
  ending.store(true);
  ended();
}

std::size_t Activity::inHand() noexcept {
  return handCount.load();
}

std::size_t Activity::openConnections() noexcept {
  return connectionCount.load(std::memory_order_relaxed);
}

}  // namespace vanto

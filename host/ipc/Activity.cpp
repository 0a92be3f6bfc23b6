// SPDX-License-Identifier: Apache-2.0
#include "ipc/Activity.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include <VantoService/dispatch.h>

#include "dispatch/Workers.h"

namespace vanto {

namespace {

/// Set in the count once the process ends, so that one operation tells whether something began in time.
constexpr std::uint64_t over = std::uint64_t{1} << 63;

constinit std::atomic<std::uint64_t> handCount{0};
constinit std::atomic<std::size_t> connectionCount{0};
constinit std::atomic<bool> tracked{false};
constinit std::atomic<bool> ending{false};
/// When something counted ended; while connections are open, what ends on them does not note it.
constinit std::atomic<std::uint64_t> lastEnd{0};

/// Where the process ends. Made before it is asked to, and kept.
constinit dispatch_once_t endingGuard = 0;
constinit dispatch_queue_t endingQueue = nullptr;

void noteEnd() noexcept {
  lastEnd.store(monotonicNow(), std::memory_order_relaxed);
}

void endIfIdle(void*) noexcept {
  // Something may have begun since this was submitted; when that ends, so is this once more.
  std::uint64_t idle = 0;
  if (handCount.compare_exchange_strong(idle, over)) std::exit(0);
}

}  // namespace

void Activity::began() noexcept {
  // These and the flag are sequentially consistent: either this thread sees the flag, or who sets it sees the count.
  handCount.fetch_add(1);
}

void Activity::ended() noexcept {
  // Before it is counted out: who finds nothing in hand then finds the time too.
  if (isTracked() && connectionCount.load(std::memory_order_relaxed) == 0) noteEnd();
  // Not here: the caller may hold locks, and be called by a handler.
  if (handCount.fetch_sub(1) == 1 && ending.load()) dispatch_queue_submit(endingQueue, nullptr, &endIfIdle);
}

void Activity::connectionOpened() noexcept {
  connectionCount.fetch_add(1);
}

void Activity::connectionClosed() noexcept {
  if (isTracked()) noteEnd();
  connectionCount.fetch_sub(1);
}

void Activity::track() noexcept {
  if (isTracked()) return;
  noteEnd();
  tracked.store(true);
}

bool Activity::isTracked() noexcept {
  return tracked.load();
}

std::uint64_t Activity::idleSince() noexcept {
  const bool isIdle = isTracked() && openConnections() == 0 && inHand() == 0;
  return isIdle ? lastEnd.load(std::memory_order_relaxed) : UINT64_MAX;
}

bool Activity::isEnding() noexcept {
  return ending.load();
}

void Activity::endWhenIdle() noexcept {
  // Held while the flag is set, so that somebody finds nothing in hand after that.
  began();
  dispatch_once(&endingGuard, [] { endingQueue = dispatch_queue_create("end of the process", nullptr); });
  ending.store(true);
  ended();
}

std::size_t Activity::inHand() noexcept {
  return static_cast<std::size_t>(handCount.load() & ~over);
}

bool Activity::isOver() noexcept {
  return (handCount.load(std::memory_order_relaxed) & over) != 0;
}

std::size_t Activity::openConnections() noexcept {
  return connectionCount.load();
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0

// Whether the process is idle is seen by one timer that looks, and sets itself anew for the time when the process may
// be idle at the earliest; nothing else touches it while clients come and go. So it goes off once in the time after
// which the process says that it is idle, and once more when it does become idle. Having said so, it stays off until
// there is a reason to look again: a client, or an order to leave that came too late.
#include "ipc/ManagerLink.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

#include <sys/epoll.h>

#include "dispatch/Workers.h"
#include "ipc/Activity.h"
#include "ipc/InheritedSockets.h"
#include "ipc/ManagerRecord.h"
#include "sandbox/Sandbox.h"
#include "value/ValueStorage.h"

namespace vanto {

constinit std::atomic<bool> ManagerLink::hasGreeted_{false};
constinit std::atomic<bool> ManagerLink::hasAsked_{false};

/// Watched for the life of the process.
class ManagerLink::Watch final : public Watched {
 public:
  [[nodiscard]] static Ref<Watch> create() noexcept { return Ref<Watch>::adopt(::new (allocate(sizeof(Watch))) Watch); }

 private:
  static constexpr Class watchClass{"ManagerLink", &objectClass, NoKind, nullptr, nullptr, nullptr};

  Watch() noexcept : Watched(watchClass, &becomeReady) {}

  static void becomeReady(Watched&, std::uint32_t events) noexcept { events == 0 ? look() : read(); }
};

namespace {

/// Between two looks, however impatient the manager is.
constexpr std::uint64_t shortestPause = 1'000'000;

/// Guards the beginning.
constinit std::mutex mutex;
constinit bool wasSought = false;
/// Never closed; the reactions are written before it is.
constinit std::atomic<int> descriptor{-1};
constinit ManagerLink::Reactions reactions{};
/// Set once it is watched, which it is for good.
constinit std::atomic<Watched*> watch{nullptr};

constinit std::atomic<bool> saidListening{false};
constinit std::atomic<std::uint32_t> openListeners{0};
/// After so many nanoseconds without activity the process is idle; 0 for never. Sequentially consistent, as tracking
/// is: who sets the one last finds the other.
constinit std::atomic<std::uint64_t> idlePeriod{0};

int link() noexcept {
  return descriptor.load(std::memory_order_acquire);
}

/// The manager watches the process, so nothing is lost with a record that it does not get.
void say(ManagerRecordKind kind) noexcept {
  if (link() >= 0) static_cast<void>(sendManagerRecord(link(), kind));
}

void lookAfter(std::uint64_t nanoseconds) noexcept {
  setTimer(*watch.load(), deadlineAfter(std::max(nanoseconds, shortestPause)));
}

void startClock() noexcept {
  const std::uint64_t period = idlePeriod.load();
  if (watch.load() != nullptr && period != 0 && Activity::isTracked()) lookAfter(period);
}

void take(ManagerRecordKind kind, std::uint64_t value) noexcept {
  if (kind == ManagerRecordKind::Settings) {
    idlePeriod.store(value);
    startClock();
  }
  const std::uint64_t period = idlePeriod.load();
  if (kind != ManagerRecordKind::Leave || period == 0 || !Activity::isTracked() || Activity::isEnding()) return;
  // Too late an order is answered by being idle once more, after all of that time.
  if (!reactions.leaveIfIdle(period)) startClock();
}

void takeSettings(int link) noexcept {
  ManagerRecord record;
  const bool isThere = receiveManagerRecord(link, record) == ManagerRecordResult::Record;
  if (isThere && record.kind == ManagerRecordKind::Settings) idlePeriod.store(record.value);
}

}  // namespace

void ManagerLink::begin(const Reactions& theReactions) noexcept {
  const std::lock_guard lock(mutex);
  static constinit int found = -1;
  if (!std::exchange(wasSought, true)) found = takeManagerLink().release();
  if (found < 0 || link() >= 0) return;
  reactions = theReactions;
  const Ref<Watch> created = Watch::create();
  // The settings are there already: without a worker that is woken for them, and has another one made in its place, the
  // process is ready for its first client sooner.
  takeSettings(found);
  descriptor.store(found, std::memory_order_release);
  if (!startWatching(*created, found, EPOLLIN | EPOLLRDHUP | EPOLLET)) return descriptor.store(-1);
  watch.store(created.get());
  const std::string_view receipt = sandboxReceipt();
  if (!receipt.empty()) static_cast<void>(sendManagerReceipt(found, receipt));
  // The settings may have been read already.
  startClock();
}

void ManagerLink::listenerStarted() noexcept {
  openListeners.fetch_add(1);
  if (!saidListening.exchange(true)) say(ManagerRecordKind::Listening);
}

void ManagerLink::listenerStopped() noexcept {
  if (openListeners.fetch_sub(1) == 1) say(ManagerRecordKind::Stopped);
}

void ManagerLink::sayGreeted() noexcept {
  if (!hasGreeted_.exchange(true)) say(ManagerRecordKind::Greeted);
}

void ManagerLink::activityIsTracked() noexcept {
  startClock();
}

void ManagerLink::restartClock() noexcept {
  if (hasAsked_.exchange(false)) startClock();
}

/// Tells the manager when the process is idle, or looks again when it may be.
void ManagerLink::look() noexcept {
  const std::uint64_t period = idlePeriod.load();
  if (period == 0 || Activity::isEnding()) return;
  const std::uint64_t since = Activity::idleSince();
  if (since == UINT64_MAX) return lookAfter(period);
  const std::uint64_t end = period < UINT64_MAX - since ? since + period : UINT64_MAX;
  if (const std::uint64_t remaining = remainingUntil(end)) return lookAfter(remaining);
  hasAsked_.store(true);
  const bool isIdle = Activity::idleSince() == since;
  if (!isIdle || !sendManagerRecord(link(), ManagerRecordKind::Idle)) restartClock();
}

void ManagerLink::read() noexcept {
  ManagerRecord record;
  for (;;) {
    switch (receiveManagerRecord(link(), record)) {
      case ManagerRecordResult::Record:
        take(record.kind, record.value);
        break;
      case ManagerRecordResult::Ignored:
        break;
      case ManagerRecordResult::Nothing:
        return;
      case ManagerRecordResult::Ended:
        return reactions.lost();
    }
  }
}

}  // namespace vanto

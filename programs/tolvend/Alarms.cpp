// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Alarms.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include "dispatch/Workers.h"
#include "value/ValueStorage.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t atOnce = 0;

}  // namespace

/// What the pool holds the timer for. Its descriptor becomes ready for an alarm that is due at once: a timer costs
/// more.
class AlarmClock final : public Watched {
 public:
  [[nodiscard]] static Ref<AlarmClock> create(Alarms& alarms) {
    return Ref<AlarmClock>::adopt(::new (allocate(sizeof(AlarmClock))) AlarmClock(alarms));
  }

 private:
  explicit AlarmClock(Alarms& alarms) noexcept : Watched(clockClass, &ring), alarms_(alarms) {}

  static void ring(Watched& self, std::uint32_t) noexcept { static_cast<AlarmClock&>(self).alarms_.ring(); }
  static void destroy(Object& self) noexcept {
    auto& clock = static_cast<AlarmClock&>(self);
    clock.~AlarmClock();
    deallocate(&clock);
  }
  static const Class clockClass;

  Alarms& alarms_;
};

constinit const Class AlarmClock::clockClass{"AlarmClock",         &objectClass, NoKind,
                                             &AlarmClock::destroy, nullptr,      nullptr};

Alarms::Alarms() noexcept = default;

Alarms::~Alarms() {
  if (clock_) stopWatching(*clock_, descriptor_.get());
}

int Alarms::open() {
  descriptor_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!descriptor_) return errno;
  Ref<AlarmClock> clock = AlarmClock::create(*this);
  if (!startWatching(*clock, descriptor_.get(), EPOLLIN | EPOLLET)) return errno;
  clock_ = std::move(clock);
  return 0;
}

void Alarms::ring() {
  // One at a time, since an alarm may take away or set others, or end; those that are due come in further calls.
  if (!entries_.empty() && entries_.begin()->first <= monotonicNow()) {
    Alarm& alarm = *entries_.begin()->second;
    alarm.isSet_ = false;
    entries_.erase(entries_.begin());
    // A copy, for an alarm that ends inside it.
    const std::function<void()> function = alarm.function_;
    function();
  }
  arm();
}

void Alarms::arm() {
  if (!clock_) return;
  const std::uint64_t next = entries_.empty() ? UINT64_MAX : entries_.begin()->first;
  if (next == atOnce) {
    // Never read: each write is an event of its own.
    static_cast<void>(eventfd_write(descriptor_.get(), 1));
  } else {
    setTimer(*clock_, next);
  }
}

Alarm::Alarm(Alarms& alarms, std::function<void()> function) : alarms_(alarms), function_(std::move(function)) {}

Alarm::~Alarm() {
  set(UINT64_MAX);
}

void Alarm::set(std::uint64_t deadline) {
  if (isSet_) alarms_.entries_.erase(entry_);
  const bool wasSet = std::exchange(isSet_, deadline != UINT64_MAX);
  if (!isSet_) {
    if (wasSet && alarms_.entries_.empty()) alarms_.arm();
    return;
  }
  entry_ = alarms_.entries_.emplace(deadline, this);
  if (entry_ == alarms_.entries_.begin()) alarms_.arm();
}

}  // namespace vanto::manager

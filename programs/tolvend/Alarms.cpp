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

/// What the pool holds the timer for. Its descriptor is never ready; only a watched object can have a timer.
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
  if (!startWatching(*clock, descriptor_.get(), EPOLLIN)) return errno;
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
  if (clock_) setTimer(*clock_, entries_.empty() ? UINT64_MAX : entries_.begin()->first);
}

Alarm::Alarm(Alarms& alarms, std::function<void()> function) : alarms_(alarms), function_(std::move(function)) {}

Alarm::~Alarm() {
  if (isSet_) alarms_.entries_.erase(entry_);
}

void Alarm::set(std::uint64_t deadline) {
  if (isSet_) alarms_.entries_.erase(entry_);
  isSet_ = deadline != UINT64_MAX;
  if (!isSet_) return;
  // 0 would take the timer of the descriptor away.
  entry_ = alarms_.entries_.emplace(std::max<std::uint64_t>(deadline, 1), this);
  if (entry_ == alarms_.entries_.begin()) alarms_.arm();
}

}  // namespace vanto::manager

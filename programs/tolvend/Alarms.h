// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>

#include <VantoService/Ref.h>

#include "value/Fd.h"

namespace vanto::manager {

class AlarmClock;

/// All alarms of the manager, on one descriptor. Main thread only.
class Alarms {
 public:
  Alarms() noexcept;
  ~Alarms();
  Alarms(const Alarms&) = delete;
  Alarms& operator=(const Alarms&) = delete;

  /// Before the first alarm is set. 0, or an errno value.
  [[nodiscard]] int open();

 private:
  friend class Alarm;
  friend class AlarmClock;
  using Entries = std::multimap<std::uint64_t, class Alarm*>;

  void ring();
  void arm();

  Entries entries_;
  Fd descriptor_;
  Ref<AlarmClock> clock_;
};

/// Has a function called at a time, in a call of its own: nothing that sets an alarm is on the stack then. It may end
/// inside that call. Main thread only.
class Alarm {
 public:
  Alarm(Alarms& alarms, std::function<void()> function);
  ~Alarm();
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

  /// Once, when CLOCK_MONOTONIC reaches `deadline`, in nanoseconds: 0 for as soon as possible, UINT64_MAX for never.
  /// Each call replaces the last.
  void set(std::uint64_t deadline);
  [[nodiscard]] bool isSet() const noexcept { return isSet_; }

 private:
  friend class Alarms;

  Alarms& alarms_;
  const std::function<void()> function_;
  Alarms::Entries::iterator entry_;
  bool isSet_ = false;
};

}  // namespace vanto::manager

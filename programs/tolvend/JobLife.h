// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tolvend/BackOff.h"
#include "tolvend/Failures.h"
#include "tolvend/InstanceRecord.h"
#include "tolvend/LifeCycleState.h"
#include "tolvend/LifeCycleTimes.h"
#include "tolvend/StartFailure.h"

namespace vanto::manager {

/// What the life of a job has done in the world, and asks of it. Nothing in here calls the life back at once.
class JobWorld {
 public:
  /// Has connectionWaiting() called, or no longer, when a client waits at the listener.
  virtual void watchListener(bool shallWatch) = 0;
  /// Starts a process for `instance`. False, with `failure` filled in, when none could be made.
  [[nodiscard]] virtual bool spawn(InstanceId instance, StartFailure& failure) = 0;
  /// Accepts all who wait and tells them why they are not served.
  virtual void tellWaiting(const StartFailure& failure) = 0;
  enum class Signal : std::uint8_t { Terminate, Kill };
  virtual void signal(InstanceId instance, Signal signal) = 0;
  /// Has timerExpired() called once CLOCK_MONOTONIC reaches `deadline`, in nanoseconds; UINT64_MAX for never. One
  /// timer: each call replaces the last.
  virtual void setTimer(std::uint64_t deadline) = 0;
  /// Something that people are told of has changed.
  virtual void changed() = 0;

 protected:
  ~JobWorld() = default;
};

/// The life of one job: when processes are made, what becomes of a start that fails, how they end. It knows no process,
/// descriptor or clock: what happens comes as calls, with the time where that counts, and what is to be done goes to
/// its world. Here is what is the same however many processes the job has at a time. Not thread-safe.
class JobLife {
 public:
  using State = LifeCycleState;

  /// `world` is borrowed, and not called yet.
  JobLife(JobWorld& world, BackOff backOff, const LifeCycleTimes& times) noexcept;
  virtual ~JobLife() = default;
  JobLife(const JobLife&) = delete;
  JobLife& operator=(const JobLife&) = delete;

  /// Begins to watch for clients and to start processes, once: as soon as no process is left that somebody else has
  /// started for the job. What is asked for before that takes effect at once, but for starts, which wait.
  void begin(std::uint64_t now);
  [[nodiscard]] bool hasBegun() const noexcept { return hasBegun_; }

  // What happened. Calls about an instance that has ended, or is unknown, do nothing.
  void connectionWaiting(std::uint64_t now);
  void executed(InstanceId instance, std::uint64_t now);
  /// The proxy has told why it did not execute the service. That its process has ended comes as ended().
  virtual void executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now) = 0;
  virtual void listening(InstanceId instance, std::uint64_t now) = 0;
  virtual void greeted(InstanceId instance, std::uint64_t now) = 0;
  virtual void stoppedAccepting(InstanceId instance, std::uint64_t now) = 0;
  /// It accepts clients, and is not fit to, for the reason `why`: it is killed, and clients who wait are told.
  virtual void rejected(InstanceId instance, const std::string& why, std::uint64_t now) = 0;
  virtual void ended(InstanceId instance, Ending ending, std::uint64_t now) = 0;
  void timerExpired(std::uint64_t now);

  // What people ask for.
  /// Lets processes start again if it was held, and forgets the back-off.
  virtual void start(std::uint64_t now) = 0;
  /// Has the running processes end; the next client starts one.
  void stop(std::uint64_t now);
  /// The same, and forgets the back-off.
  virtual void restart(std::uint64_t now) = 0;
  /// Has the running processes end, and starts none until start() is called.
  void hold(std::uint64_t now);
  /// Has everything end for good: clients who wait are told why, nothing is watched or started any more.
  void retire(StartFailure::Stage told, std::uint64_t now);

  [[nodiscard]] virtual State state() const noexcept = 0;
  /// True when no process of it is left.
  [[nodiscard]] bool isEmpty() const noexcept { return instances_.empty(); }
  /// When the next start may be, while it pauses.
  [[nodiscard]] std::uint64_t earliestStart() const noexcept { return failures_.pauseUntil(); }
  /// Processes made, and starts and runs that failed, since it began.
  [[nodiscard]] std::uint64_t starts() const noexcept { return starts_; }
  [[nodiscard]] std::uint64_t failures() const noexcept { return failures_.count(); }
  /// The last failure, or null.
  [[nodiscard]] const StartFailure* lastFailure() const noexcept { return failures_.last(); }
  /// The instances whose processes have not ended, the oldest first. Until the next call of anything that is not const.
  [[nodiscard]] const std::vector<InstanceRecord>& instances() const noexcept { return instances_; }

 protected:
  [[nodiscard]] const LifeCycleTimes& times() const noexcept { return times_; }
  [[nodiscard]] bool isHeld() const noexcept { return isHeld_; }
  [[nodiscard]] bool isRetired() const noexcept { return isRetired_; }
  /// A client waits for the end of a short pause.
  [[nodiscard]] bool isClientPatient() const noexcept { return isClientPatient_; }
  [[nodiscard]] Failures& failureHistory() noexcept { return failures_; }

  [[nodiscard]] InstanceRecord* find(InstanceId instance) noexcept;
  [[nodiscard]] const InstanceRecord* find(InstanceId instance) const noexcept;
  /// Removes an instance whose process has ended; none when it is unknown.
  [[nodiscard]] std::optional<InstanceRecord> take(InstanceId instance, std::uint64_t now);
  [[nodiscard]] InstanceId nextId() noexcept { return ++lastId_; }
  /// Has a process made for `record`, which it keeps then. False, with `failure` filled in, when none could be.
  [[nodiscard]] bool make(InstanceRecord record, StartFailure& failure, std::uint64_t now);
  /// Has those who wait wait for the end of a short pause, and tells them of a long one.
  void putOff(std::uint64_t now);
  /// Undoes hold(), and lets the next start be at once.
  void release() noexcept;
  void forgetPatience() noexcept { isClientPatient_ = false; }
  /// Asks it to end, unless that was done.
  void askToEnd(InstanceRecord& instance, std::uint64_t now);
  void askAllToEnd(std::uint64_t now);
  void kill(InstanceRecord& instance);
  /// Brings the world in line with what is known now. Each operation ends with it.
  void settle(std::uint64_t now);

 private:
  /// What people are told of.
  struct Appearance {
    State state = State::Resting;
    std::size_t instances = 0;
    std::size_t running = 0;
    std::uint64_t starts = 0;
    std::uint64_t failures = 0;
    friend bool operator==(const Appearance&, const Appearance&) = default;
  };

  // What differs.
  /// A client waits, and the job is not held.
  virtual void serveWaiting(std::uint64_t now) = 0;
  /// Sets when an instance is looked at, for those who wait, if anybody does, begin to wait for it now.
  virtual void beginToLook(InstanceRecord& instance, std::uint64_t now) = 0;
  /// The time has come to look at an instance.
  virtual void look(InstanceRecord& instance, std::uint64_t now) = 0;
  /// Has all processes end, for whatever reason.
  virtual void endAll(std::uint64_t now) = 0;
  /// The pause is over for which a client has waited.
  virtual void endPatience(std::uint64_t now) = 0;
  /// Does what could not be done until now, before the world is brought in line.
  virtual void catchUp(std::uint64_t now) = 0;
  [[nodiscard]] virtual bool shallWatch() const noexcept = 0;

  [[nodiscard]] std::uint64_t nextDeadline() const noexcept;
  [[nodiscard]] Appearance appearance() const noexcept;

  JobWorld& world_;
  LifeCycleTimes times_;
  Failures failures_;
  std::vector<InstanceRecord> instances_;
  InstanceId lastId_ = 0;
  std::uint64_t timer_ = UINT64_MAX;
  std::uint64_t starts_ = 0;
  Appearance told_;
  bool isClientPatient_ = false;
  bool hasBegun_ = false;
  bool isHeld_ = false;
  bool isRetired_ = false;
  bool isWatching_ = false;
};

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tolvend/BackOff.h"
#include "tolvend/Failures.h"
#include "tolvend/InstanceRecord.h"
#include "tolvend/LifeCycleState.h"
#include "tolvend/LifeCycleTimes.h"
#include "tolvend/StartFailure.h"

namespace vanto::manager {

/// What a life cycle has done in the world, and asks of it. Nothing in here calls the life cycle back at once.
class LifeCycleWorld {
 public:
  /// Has connectionWaiting() called, or no longer, when a client waits at the listener.
  virtual void watchListener(bool shallWatch) = 0;
  /// Whether a client waits at the listener that nobody has accepted.
  [[nodiscard]] virtual bool isAnybodyWaiting() = 0;
  /// Starts a process for `instance`. False, with `failure` filled in, when none could be made.
  [[nodiscard]] virtual bool spawn(InstanceId instance, StartFailure& failure) = 0;
  /// Accepts all who wait and tells them why they are not served.
  virtual void tellWaiting(const StartFailure& failure) = 0;
  enum class Signal : std::uint8_t { Terminate, Kill };
  virtual void signal(InstanceId instance, Signal signal) = 0;
  /// Allows an instance that has said it is idle to leave.
  virtual void letLeave(InstanceId instance) = 0;
  /// Has timerExpired() called once CLOCK_MONOTONIC reaches `deadline`, in nanoseconds; UINT64_MAX for never. One
  /// timer: each call replaces the last.
  virtual void setTimer(std::uint64_t deadline) = 0;
  /// Something that people are told of has changed.
  virtual void changed() = 0;

 protected:
  ~LifeCycleWorld() = default;
};

/// The life of one job whose service has one process at a time: when it is started, what becomes of a start that fails,
/// how it ends. It knows no process, descriptor or clock: what happens comes as calls, with the time where that counts,
/// and what is to be done goes to its world. The states and what leads from one to the next are told in LifeCycle.cpp.
/// Not thread-safe.
class LifeCycle {
 public:
  using State = LifeCycleState;

  /// `world` is borrowed, and not called yet.
  LifeCycle(LifeCycleWorld& world, BackOff backOff, LifeCycleTimes times = {}) noexcept;

  /// Begins to watch for clients and to start processes, once: as soon as no process is left that somebody else has
  /// started for the job. What is asked for before that takes effect at once, but for starts, which wait.
  void begin(std::uint64_t now);
  [[nodiscard]] bool hasBegun() const noexcept { return hasBegun_; }

  // What happened. Calls about an instance that has ended, or is unknown, do nothing.
  void connectionWaiting(std::uint64_t now);
  void executed(InstanceId instance, std::uint64_t now);
  /// The proxy has told why it did not execute the service. That its process has ended comes as ended().
  void executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now);
  void listening(InstanceId instance, std::uint64_t now);
  void greeted(InstanceId instance, std::uint64_t now);
  void saidIdle(InstanceId instance, std::uint64_t now);
  void stoppedAccepting(InstanceId instance, std::uint64_t now);
  /// It accepts clients, and is not fit to, for the reason `why`: it is killed, and clients who wait are told.
  void rejected(InstanceId instance, const std::string& why, std::uint64_t now);
  void ended(InstanceId instance, Ending ending, std::uint64_t now);
  /// A process of it has made the listener useless, which another one has replaced.
  void listenerReplaced(std::uint64_t now);
  void timerExpired(std::uint64_t now);

  // What people ask for.
  /// Lets it start again if it was held, forgets the back-off, and starts it unless it runs.
  void start(std::uint64_t now);
  /// Has the running process end; the next client starts one.
  void stop(std::uint64_t now);
  /// The same, and then starts one at once.
  void restart(std::uint64_t now);
  /// Has the running process end, and starts none until start() is called.
  void hold(std::uint64_t now);
  /// Has everything end for good: clients who wait are told why, nothing is watched or started any more.
  void retire(StartFailure::Stage told, std::uint64_t now);

  [[nodiscard]] State state() const noexcept;
  /// True when no process of it is left.
  [[nodiscard]] bool isEmpty() const noexcept { return instances_.empty(); }
  /// The process that accepts or is going to; 0 for none.
  [[nodiscard]] InstanceId current() const noexcept { return current_; }
  /// When the next start may be, while it pauses.
  [[nodiscard]] std::uint64_t earliestStart() const noexcept { return failures_.pauseUntil(); }
  /// Processes made, and starts and runs that failed, since it began.
  [[nodiscard]] std::uint64_t starts() const noexcept { return starts_; }
  [[nodiscard]] std::uint64_t failures() const noexcept { return failures_.count(); }
  /// The last failure, or null.
  [[nodiscard]] const StartFailure* lastFailure() const noexcept { return failures_.last(); }
  /// Whether a start was asked for that could not be yet.
  [[nodiscard]] bool isStartWanted() const noexcept { return isStartWanted_; }
  /// The end of the process that ended last, told as a failure, whether it was one or not; null for none.
  [[nodiscard]] const StartFailure* lastEnd() const noexcept { return end_.instance == 0 ? nullptr : &end_; }
  /// The instances whose processes have not ended, the oldest first. Until the next call of anything that is not const.
  [[nodiscard]] const std::vector<InstanceRecord>& instances() const noexcept { return instances_; }

 private:
  /// What people are told of.
  struct Appearance {
    State state;
    InstanceId current;
    std::size_t instances;
    std::uint64_t starts;
    std::uint64_t failures;
    friend bool operator==(const Appearance&, const Appearance&) = default;
  };

  [[nodiscard]] InstanceRecord* find(InstanceId instance) noexcept;
  [[nodiscard]] const InstanceRecord* currentRecord() const noexcept;
  [[nodiscard]] bool mayStart() const noexcept;
  [[nodiscard]] bool shallWatch() const noexcept;
  [[nodiscard]] std::uint64_t nextDeadline() const noexcept;
  [[nodiscard]] Appearance appearance() const noexcept;
  void spawn(std::uint64_t now);
  /// Notes that a start failed before the service was executed.
  void failStart(const StartFailure& failure, std::uint64_t now);
  /// The same for a process that was executed: the pause grows with each failure.
  void failRun(const StartFailure& failure, std::uint64_t now);
  /// Tells those who wait of the last failure when they shall not go on waiting.
  void tellOfFailure(Failures::Pause pause, std::uint64_t now);
  /// Whether the next start has to wait after a failure: not where a process is there already that has not failed.
  [[nodiscard]] Failures::Pause pauseOfFailure() const noexcept;
  void forgetFailures() noexcept;
  /// Asks it to end, unless that was done.
  void askToEnd(InstanceRecord& instance, std::uint64_t now);
  void askAllToEnd(std::uint64_t now);
  void kill(InstanceRecord& instance);
  /// Finds out whether a process that has not said that it listens does.
  void lookAtWaiting(InstanceRecord& instance, std::uint64_t now);
  /// Brings the world in line with what is known now. Each operation ends with it.
  void settle(std::uint64_t now);

  LifeCycleWorld& world_;
  LifeCycleTimes times_;
  Failures failures_;
  std::vector<InstanceRecord> instances_;
  InstanceId current_ = 0;
  InstanceId lastId_ = 0;
  std::uint64_t timer_ = UINT64_MAX;
  std::uint64_t starts_ = 0;
  StartFailure end_;
  Appearance told_{State::Resting, 0, 0, 0, 0};
  /// A start was asked for that could not be yet.
  bool isStartWanted_ = false;
  /// A client waits for the end of a short pause.
  bool isClientPatient_ = false;
  bool hasBegun_ = false;
  bool isHeld_ = false;
  bool isRetired_ = false;
  bool isWatching_ = false;
};

}  // namespace vanto::manager

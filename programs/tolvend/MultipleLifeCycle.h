// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tolvend/BackOff.h"
#include "tolvend/InstanceLimit.h"
#include "tolvend/InstanceRecord.h"
#include "tolvend/LifeCycle.h"
#include "tolvend/StartFailure.h"

namespace vanto::manager {

/// What the life cycle of a job with several instances has done in the world. Nothing in here calls the life cycle back
/// at once.
///
/// The world keeps its own descriptor of the connection that an instance is for until it is told to refuse or to forget
/// it, so that a client can still be told of a start that failed.
class MultipleLifeCycleWorld {
 public:
  /// Has connectionWaiting() called, or no longer, when a client waits at the listener.
  virtual void watchListener(bool shallWatch) = 0;
  /// Accepts the one client that waits longest, as the connection of `instance`, and tells whose it is. False when
  /// there is none any more, or no descriptor for it, which all who wait are told.
  [[nodiscard]] virtual bool accept(InstanceId instance, uid_t& user) = 0;
  /// Starts a process with the connection of `instance`. False, with `failure` filled in, when none could be made.
  [[nodiscard]] virtual bool spawn(InstanceId instance, StartFailure& failure) = 0;
  /// Tells the client of the connection of `instance` why it is not served, and closes that. The stage Limit goes with
  /// the code VANTO_ERROR_FULL, each other with VANTO_ERROR_START.
  virtual void refuse(InstanceId instance, const StartFailure& failure) = 0;
  /// Closes the manager's descriptor of the connection of `instance`, which the process has taken.
  virtual void forget(InstanceId instance) = 0;
  /// Accepts all who wait and tells them why they are not served.
  virtual void tellWaiting(const StartFailure& failure) = 0;
  virtual void signal(InstanceId instance, LifeCycleWorld::Signal signal) = 0;
  /// As for LifeCycleWorld.
  virtual void setTimer(std::uint64_t deadline) = 0;
  virtual void changed() = 0;

 protected:
  ~MultipleLifeCycleWorld() = default;
};

/// The life of one job whose every connection has a process of its own, an instance, which ends with it. It is told
/// what happens as LifeCycle is, and the states mean the same: Running, while there are instances. A client that is not
/// alone waits for no other, until there are limits::instancesPerJob, or those of its user that `limit` counts. Not
/// thread-safe.
class MultipleLifeCycle {
 public:
  using State = LifeCycle::State;

  /// `world` and `limit`, which is shared by all jobs of a manager, are borrowed; `world` is not called yet.
  MultipleLifeCycle(MultipleLifeCycleWorld& world, InstanceLimit& limit, BackOff backOff,
                    LifeCycleTimes times = {}) noexcept;
  MultipleLifeCycle(const MultipleLifeCycle&) = delete;
  MultipleLifeCycle& operator=(const MultipleLifeCycle&) = delete;
  /// Gives back to `limit` what it counts for instances that are left.
  ~MultipleLifeCycle();

  /// As for LifeCycle.
  void begin(std::uint64_t now);
  [[nodiscard]] bool hasBegun() const noexcept { return hasBegun_; }

  // What happened. Calls about an instance that has ended, or is unknown, do nothing.
  void connectionWaiting(std::uint64_t now);
  void executed(InstanceId instance, std::uint64_t now);
  void executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now);
  void listening(InstanceId instance, std::uint64_t now);
  void greeted(InstanceId instance, std::uint64_t now);
  void stoppedAccepting(InstanceId instance, std::uint64_t now);
  /// As of LifeCycle; told is the one client, unless it has its greeting.
  void rejected(InstanceId instance, const std::string& why, std::uint64_t now);
  void ended(InstanceId instance, Ending ending, std::uint64_t now);
  void timerExpired(std::uint64_t now);

  // What people ask for.
  /// Lets instances start again if it was held, and forgets the back-off. There is nothing to start without a client.
  void start(std::uint64_t now);
  /// Has all instances end; clients wait until they have.
  void stop(std::uint64_t now);
  /// The same, and forgets the back-off.
  void restart(std::uint64_t now);
  void hold(std::uint64_t now);
  void retire(StartFailure::Stage told, std::uint64_t now);

  [[nodiscard]] State state() const noexcept;
  [[nodiscard]] bool isEmpty() const noexcept { return instances_.empty(); }
  [[nodiscard]] std::uint64_t earliestStart() const noexcept { return pauseUntil_; }
  [[nodiscard]] std::uint64_t starts() const noexcept { return starts_; }
  [[nodiscard]] std::uint64_t failures() const noexcept { return failures_; }
  [[nodiscard]] const StartFailure* lastFailure() const noexcept { return failures_ == 0 ? nullptr : &failure_; }

  struct Instance : InstanceRecord {
    uid_t user = 0;
    /// The world keeps a descriptor of the connection.
    bool hasConnection = true;
  };
  /// The instances whose processes have not ended, the oldest first. Until the next call of anything that is not const.
  [[nodiscard]] const std::vector<Instance>& instances() const noexcept { return instances_; }

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

  [[nodiscard]] Instance* find(InstanceId instance) noexcept;
  [[nodiscard]] bool shallWatch() const noexcept;
  [[nodiscard]] std::uint64_t nextDeadline() const noexcept;
  [[nodiscard]] Appearance appearance() const noexcept;
  void serveOne(std::uint64_t now);
  /// Notes a failure and how long the pause after it is.
  void noteFailure(StartFailure& failure, std::uint64_t pause, std::uint64_t now);
  /// Gives up the manager's descriptor of the connection: the client is told `failure`, unless people wanted the end.
  void endConnection(Instance& instance, const StartFailure& failure);
  void forgetConnection(Instance& instance);
  void lookAtConnection(Instance& instance, std::uint64_t now);
  void forgetFailures() noexcept;
  void askToEnd(Instance& instance, std::uint64_t now);
  void askAllToEnd(std::uint64_t now);
  /// Brings the world in line with what is known now. Each operation ends with it.
  void settle(std::uint64_t now);

  MultipleLifeCycleWorld& world_;
  InstanceLimit& limit_;
  BackOff backOff_;
  LifeCycleTimes times_;
  std::vector<Instance> instances_;
  InstanceId lastId_ = 0;
  /// No start before this; 0 while there is no pause.
  std::uint64_t pauseUntil_ = 0;
  std::uint64_t timer_ = UINT64_MAX;
  std::uint64_t starts_ = 0;
  std::uint64_t failures_ = 0;
  StartFailure failure_;
  Appearance told_;
  /// A client waits for the end of a short pause.
  bool isClientPatient_ = false;
  /// All were asked to end, and not all have: clients wait.
  bool isStopping_ = false;
  bool hasBegun_ = false;
  bool isHeld_ = false;
  bool isRetired_ = false;
  bool isWatching_ = false;
};

}  // namespace vanto::manager

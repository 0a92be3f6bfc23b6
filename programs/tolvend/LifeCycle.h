// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tolvend/BackOff.h"
#include "tolvend/StartFailure.h"

namespace vanto::manager {

/// Names one process of a job to its life cycle; never used again.
using InstanceId = std::uint64_t;

/// How a process ended.
struct Ending {
  enum class Kind : std::uint8_t { Exited, Signalled };
  Kind kind = Kind::Exited;
  /// Exit status, or number of the signal.
  int value = 0;
};

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
  /// Has timerExpired() called once CLOCK_MONOTONIC reaches `deadline`, in nanoseconds; UINT64_MAX for never. One timer:
  /// each call replaces the last.
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
  enum class State : std::uint8_t {
    Resting,   ///< no process that accepts; the first client starts one
    Pausing,   ///< as Resting, after a failure: no start before the back-off is over
    Starting,  ///< a process was made that has not said that it listens
    Running,   ///< a process accepts clients
    Stopping,  ///< the process was asked to end and may still accept
    Held       ///< nothing is started; clients are told so
  };

  LifeCycle(LifeCycleWorld& world, BackOff backOff) noexcept;

  /// Begins to watch for clients; to be called once, before anything else.
  void begin(std::uint64_t now);

  // What happened. Calls about an instance that has ended, or is unknown, do nothing.
  void connectionWaiting(std::uint64_t now);
  void executed(InstanceId instance, std::uint64_t now);
  /// The proxy has told why it did not execute the service. That its process has ended comes as ended().
  void executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now);
  void listening(InstanceId instance, std::uint64_t now);
  void greeted(InstanceId instance, std::uint64_t now);
  void saidIdle(InstanceId instance, std::uint64_t now);
  void stoppedAccepting(InstanceId instance, std::uint64_t now);
  void ended(InstanceId instance, Ending ending, std::uint64_t now);
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
  /// Has everything end for good: clients who wait are told, nothing is watched or started any more.
  void retire(std::uint64_t now);

  [[nodiscard]] State state() const noexcept;
  /// True when no process of it is left.
  [[nodiscard]] bool isEmpty() const noexcept;
  /// The process that accepts or is going to; 0 for none.
  [[nodiscard]] InstanceId current() const noexcept;
  /// When the next start may be, while it pauses.
  [[nodiscard]] std::uint64_t earliestStart() const noexcept;
  /// Processes made, and starts and runs that failed, since it began.
  [[nodiscard]] std::uint64_t starts() const noexcept;
  [[nodiscard]] std::uint64_t failures() const noexcept;
  /// The last failure, or null.
  [[nodiscard]] const StartFailure* lastFailure() const noexcept;
};

}  // namespace vanto::manager

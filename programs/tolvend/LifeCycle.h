// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "tolvend/JobLife.h"
#include "tolvend/WaitingClients.h"

namespace vanto::manager {

/// The world of a job whose service has one process at a time.
class LifeCycleWorld : public JobWorld {
 public:
  /// Whether a client waits at the listener that nobody has accepted.
  [[nodiscard]] virtual bool isAnybodyWaiting() = 0;
  /// How those who wait have changed since the last call.
  [[nodiscard]] virtual WaitingChange lookAtWaiting() = 0;
  /// Allows an instance that has said it is idle to leave.
  virtual void letLeave(InstanceId instance) = 0;

 protected:
  ~LifeCycleWorld() = default;
};

/// The life of one job whose service has one process at a time. The states and what leads from one to the next are
/// told in LifeCycle.cpp. Not thread-safe.
class LifeCycle final : public JobLife {
 public:
  /// `world` is borrowed, and not called yet.
  LifeCycle(LifeCycleWorld& world, BackOff backOff, const LifeCycleTimes& times = {}) noexcept;

  void executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now) override;
  void listening(InstanceId instance, std::uint64_t now) override;
  void greeted(InstanceId instance, std::uint64_t now) override;
  /// It may leave then, unless it has greeted nobody and somebody waits.
  void saidIdle(InstanceId instance, std::uint64_t now);
  void stoppedAccepting(InstanceId instance, std::uint64_t now) override;
  void rejected(InstanceId instance, const std::string& why, std::uint64_t now) override;
  void ended(InstanceId instance, Ending ending, std::uint64_t now) override;
  /// A process of it has made the listener useless, which another one has replaced.
  void listenerReplaced(std::uint64_t now);

  /// As for each job, and starts a process unless one runs.
  void start(std::uint64_t now) override;
  /// The same once the running one has ended.
  void restart(std::uint64_t now) override;

  [[nodiscard]] State state() const noexcept override;
  /// The process that accepts or is going to; 0 for none.
  [[nodiscard]] InstanceId current() const noexcept { return current_; }
  /// Whether a start was asked for that could not be yet.
  [[nodiscard]] bool isStartWanted() const noexcept { return isStartWanted_; }
  /// The end of the process that ended last, told as a failure, whether it was one or not; null for none.
  [[nodiscard]] const StartFailure* lastEnd() const noexcept { return end_.instance == 0 ? nullptr : &end_; }

 private:
  void serveWaiting(std::uint64_t now) override;
  void beginToLook(InstanceRecord& instance, std::uint64_t now) override;
  void look(InstanceRecord& instance, std::uint64_t now) override;
  void endAll(std::uint64_t now) override;
  void endPatience(std::uint64_t now) override;
  void catchUp(std::uint64_t now) override;
  [[nodiscard]] bool shallWatch() const noexcept override;

  [[nodiscard]] bool mayStart() const noexcept;
  void spawn(std::uint64_t now);
  /// Gives a process that is looked at time for those who wait from now on.
  void giveTime(InstanceRecord& instance, std::uint64_t now) const noexcept;
  void failToAccept(InstanceRecord& instance, std::uint64_t now);
  /// Notes that a start failed before the service was executed.
  void failStart(const StartFailure& failure, std::uint64_t now);
  /// The same for a process that was executed: the pause grows with each failure.
  void failRun(const StartFailure& failure, std::uint64_t now);
  /// Tells those who wait of the last failure when they shall not go on waiting.
  void tellOfFailure(Failures::Pause pause, std::uint64_t now);
  /// Whether the next start has to wait after a failure: not where a process is there already that has not failed.
  [[nodiscard]] Failures::Pause pauseOfFailure() const noexcept;

  LifeCycleWorld& world_;
  InstanceId current_ = 0;
  StartFailure end_;
  /// A start was asked for that could not be yet.
  bool isStartWanted_ = false;
};

}  // namespace vanto::manager

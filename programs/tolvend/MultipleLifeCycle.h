// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

#include "tolvend/InstanceLimit.h"
#include "tolvend/JobLife.h"

namespace vanto::manager {

/// The world of a job with several instances. It keeps its own descriptor of the connection that an instance is for
/// until it is told to refuse or to forget it, so that a client can still be told of a start that failed.
class MultipleLifeCycleWorld : public JobWorld {
 public:
  /// Accepts the one client that waits longest, as the connection of `instance`, and tells whose it is. False when
  /// there is none any more, or no descriptor for it, which all who wait are told.
  [[nodiscard]] virtual bool accept(InstanceId instance, uid_t& user) = 0;
  /// Whether the client of the connection of `instance`, which the world still keeps, has closed its end.
  [[nodiscard]] virtual bool hasClientLeft(InstanceId instance) = 0;
  /// Tells the client of the connection of `instance` why it is not served, and closes that. The stage Limit goes with
  /// the code VANTO_ERROR_FULL, each other with VANTO_ERROR_START.
  virtual void refuse(InstanceId instance, const StartFailure& failure) = 0;
  /// Closes the manager's descriptor of the connection of `instance`, which the process has taken or nobody needs.
  virtual void forget(InstanceId instance) = 0;

 protected:
  ~MultipleLifeCycleWorld() = default;
};

/// The life of one job whose every connection has a process of its own, an instance, which ends with it. It is told
/// what happens as LifeCycle is, and the states mean the same: Running, while there are instances. A client that is not
/// alone waits for no other, until there are limits::instancesPerJob, or those of its user that `limit` counts. Not
/// thread-safe.
class MultipleLifeCycle final : public JobLife {
 public:
  /// `world` and `limit`, which is shared by all jobs of a manager, are borrowed; `world` is not called yet.
  MultipleLifeCycle(MultipleLifeCycleWorld& world, InstanceLimit& limit, BackOff backOff,
                    const LifeCycleTimes& times = {}) noexcept;
  /// Gives back to `limit` what it counts for instances that are left.
  ~MultipleLifeCycle() override;

  void executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now) override;
  void listening(InstanceId instance, std::uint64_t now) override;
  void greeted(InstanceId instance, std::uint64_t now) override;
  void stoppedAccepting(InstanceId instance, std::uint64_t now) override;
  /// Told is the one client, unless it has its greeting.
  void rejected(InstanceId instance, const std::string& why, std::uint64_t now) override;
  void ended(InstanceId instance, Ending ending, std::uint64_t now) override;

  /// There is nothing to start without a client.
  void start(std::uint64_t now) override;
  void restart(std::uint64_t now) override;

  [[nodiscard]] State state() const noexcept override;

 private:
  void serveWaiting(std::uint64_t now) override;
  void beginToLook(InstanceRecord& instance, std::uint64_t now) override;
  void look(InstanceRecord& instance, std::uint64_t now) override;
  void endAll(std::uint64_t now) override;
  void endPatience(std::uint64_t) override {}
  void catchUp(std::uint64_t now) override;
  [[nodiscard]] bool shallWatch() const noexcept override;

  void serveOne(std::uint64_t now);
  /// Notes a failure; the one with its pause.
  const StartFailure& failStart(const StartFailure& failure, std::uint64_t now);
  const StartFailure& failRun(const StartFailure& failure, std::uint64_t now);
  /// Gives up the manager's descriptor of the connection: the client is told `failure`, unless people wanted the end.
  void endConnection(InstanceRecord& instance, const StartFailure& failure);
  void refuseConnection(InstanceRecord& instance, const StartFailure& failure);
  void forgetConnection(InstanceRecord& instance);
  /// Notes whether the client had left where the connection is given up before the greeting.
  void noteClient(InstanceRecord& instance);

  MultipleLifeCycleWorld& world_;
  InstanceLimit& limit_;
  /// All were asked to end, and not all have: clients wait.
  bool isStopping_ = false;
};

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ipc/PublishedSocket.h"
#include "tolvend/Alarms.h"
#include "tolvend/BoundSockets.h"
#include "tolvend/Children.h"
#include "tolvend/InstanceLimit.h"
#include "tolvend/InstanceReceipt.h"
#include "tolvend/Job.h"
#include "tolvend/JobListener.h"
#include "tolvend/LifeCycle.h"
#include "tolvend/LogRing.h"
#include "tolvend/LossLog.h"
#include "tolvend/MultipleLifeCycle.h"
#include "tolvend/ProcessRecords.h"
#include "tolvend/ServiceProcess.h"
#include "tolvend/SpareDescriptor.h"

namespace vanto::manager {

/// What all jobs of a manager share.
struct JobSurroundings {
  Alarms& alarms;
  SpareDescriptor& spare;
  const SpawnSetting& spawn;
  const ProcessRecords& records;
  const BoundSockets& sockets;
  InstanceLimit& limit;
  /// Processes of all jobs that are not reaped yet.
  Children& children;
  LifeCycleTimes times;
  /// After so many nanoseconds without activity a service that may is allowed to leave; 0 for never.
  std::uint64_t idle = 0;
  /// A service that is confined less than this is ended when it listens.
  ConfinementLevel floor = ConfinementLevel::None;
};

/// One job in the world: joins its life cycle with its socket, its processes and its log. Main thread only.
class JobController final : LifeCycleWorld, MultipleLifeCycleWorld, ServiceProcessOwner {
 public:
  /// `changed` is called whenever something that people are told of may have changed; it must not call back at once.
  JobController(Job job, JobSurroundings& surroundings, std::function<void()> changed);
  ~JobController();
  JobController(const JobController&) = delete;
  JobController& operator=(const JobController&) = delete;

  /// Binds its socket in a directory that is borrowed, and notes that. An empty text, or what is wrong and what to do.
  [[nodiscard]] std::string open(int directory, PublishedSocket::Access access, PublishedSocket::Rival rival);
  /// The name of its socket was touched by somebody: looks after it, and publishes it again where that is needed and
  /// possible. What came of it is in the log.
  void lookAfterSocket();
  /// That the socket lost its name.
  struct SocketLoss {
    std::string text;
    /// CLOCK_REALTIME in nanoseconds.
    std::uint64_t time = 0;
    bool isMended = false;
  };
  /// The last one, or null.
  [[nodiscard]] const SocketLoss* socketLoss() const noexcept { return loss_ ? &*loss_ : nullptr; }

  /// Begins to serve clients: to be called once no process is left that another manager, or another job of that label,
  /// has started.
  void begin();
  [[nodiscard]] bool hasBegun() const;

  // What people ask for. Before begin() clients of a job that is held are told so; a start waits.
  void start();
  void stop();
  void restart();
  void hold();
  /// Ends everything; clients who wait are told why, Removed or Manager. To be destroyed once isEmpty().
  void retire(StartFailure::Stage told);
  /// Processes from now on are those of `job`, which has the same label and number of instances.
  void replace(Job job) { job_ = std::move(job); }

  [[nodiscard]] const Job& job() const noexcept { return job_; }
  /// The socket file name of its label.
  [[nodiscard]] const std::string& file() const noexcept { return file_; }
  [[nodiscard]] LogRing& log() noexcept { return log_; }
  [[nodiscard]] const LogRing& log() const noexcept { return log_; }

  /// Adds a line to the log if the process `pid` is one of this job.
  void addToLog(pid_t pid, std::string_view line);

  struct Instance {
    InstanceId id;
    pid_t pid;
    InstanceRecord::State state;
    bool isExecuted;
    /// CLOCK_REALTIME in nanoseconds.
    std::uint64_t since;
    /// None while it is not known: a service that has said that it listens, and nothing before, is not confined.
    std::optional<ConfinementLevel> confinement;
    /// Empty when it has sent none.
    std::string receipt;
  };
  [[nodiscard]] std::vector<Instance> instances() const;
  [[nodiscard]] LifeCycle::State state() const;
  [[nodiscard]] bool isEmpty() const;
  [[nodiscard]] std::uint64_t earliestStart() const;
  [[nodiscard]] std::uint64_t starts() const;
  [[nodiscard]] std::uint64_t failures() const;
  /// The last failure, or null.
  [[nodiscard]] const StartFailure* lastFailure() const;
  /// As LifeCycle; of a job with several instances nothing is known.
  [[nodiscard]] bool isStartWanted() const noexcept;
  [[nodiscard]] const StartFailure* lastEnd() const noexcept;
  /// The process that a failure is of; 0 for none.
  [[nodiscard]] pid_t pidOf(const StartFailure& failure) const noexcept;

 private:
  struct Running {
    std::unique_ptr<ServiceProcess> process;
    /// Of a job with several instances: the manager's descriptor of the client's connection.
    Fd connection;
    std::optional<InstanceReceipt> receipt = std::nullopt;
  };

  // What the life cycles ask for.
  void watchListener(bool shallWatch) override;
  [[nodiscard]] bool isAnybodyWaiting() override;
  [[nodiscard]] WaitingChange lookAtWaiting() override;
  [[nodiscard]] bool accept(InstanceId instance, uid_t& user) override;
  [[nodiscard]] bool spawn(InstanceId instance, StartFailure& failure) override;
  [[nodiscard]] bool hasClientLeft(InstanceId instance) override;
  void refuse(InstanceId instance, const StartFailure& failure) override;
  void forget(InstanceId instance) override;
  void tellWaiting(const StartFailure& failure) override;
  void signal(InstanceId instance, JobWorld::Signal signal) override;
  void letLeave(InstanceId instance) override;
  void setTimer(std::uint64_t deadline) override;
  void changed() override;

  // What processes tell.
  void executed(InstanceId instance) override;
  void executionFailed(InstanceId instance, const StartFailure& failure) override;
  void said(InstanceId instance, ManagerRecordKind kind) override;
  void sentReceipt(InstanceId instance, std::string_view receipt) override;
  void ended(InstanceId instance, Ending ending) override;

  void timeHasCome();
  /// Whether it is confined as much as it must be. If not, it is rejected.
  [[nodiscard]] bool isFit(InstanceId instance);

  void listenerReplaced();
  /// `obstacle` is what people must do first; empty when it is published again.
  void noteLoss(const std::string& obstacle);
  [[nodiscard]] JobListener::Refusal refusalOf(const StartFailure& failure) const;

  Job job_;
  const std::string file_;
  JobSurroundings& surroundings_;
  const std::function<void()> changed_;
  LogRing log_;
  JobListener listener_;
  Alarm timer_;
  std::map<InstanceId, Running> running_;
  /// Numbers of the last processes, for what is told of them when they are gone.
  std::deque<std::pair<InstanceId, pid_t>> pids_;
  std::optional<SocketLoss> loss_;
  LossLog lossLog_;
  /// The listener is being replaced for want of its name.
  bool isMovingOn_ = false;
  /// Of what it is, or null where the job has several instances.
  LifeCycle* single_ = nullptr;
  std::unique_ptr<JobLife> life_;
};

}  // namespace vanto::manager

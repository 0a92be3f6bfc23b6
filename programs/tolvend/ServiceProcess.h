// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "ipc/ManagerRecord.h"
#include "tolvend/Alarms.h"
#include "tolvend/Allowance.h"
#include "tolvend/InstanceRecord.h"
#include "tolvend/LogRing.h"
#include "tolvend/Spawn.h"
#include "tolvend/StartFailure.h"
#include "tolvend/Watch.h"
#include "value/Fd.h"

namespace vanto::manager {

/// What a process tells its owner, in the order in which it happened, and from the event loop only.
class ServiceProcessOwner {
 public:
  virtual void executed(InstanceId instance) = 0;
  /// The proxy has told why it did not execute the service.
  virtual void executionFailed(InstanceId instance, const StartFailure& failure) = 0;
  virtual void said(InstanceId instance, ManagerRecordKind kind) = 0;
  /// It has said how it is confined. `receipt` is what came, and may be anything.
  virtual void sentReceipt(InstanceId instance, std::string_view receipt) = 0;
  /// The process is gone and reaped, with what was left of its group. The last call; the object may end in it.
  virtual void ended(InstanceId instance, Ending ending) = 0;

 protected:
  ~ServiceProcessOwner() = default;
};

/// One process of a job: its link, what it writes, and its end. A process that has not ended when the object does goes
/// on by itself. Main thread only.
class ServiceProcess {
 public:
  /// `alarms` and `log` must live as long as the object.
  ServiceProcess(ServiceProcessOwner& owner, Alarms& alarms, InstanceId instance, LogRing& log);
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  /// What is started.
  struct Start {
    const char* program = nullptr;
    /// The name of `service` among the descriptors that are handed over.
    std::string name;
    /// A listening socket or a connection; borrowed.
    int service = -1;
    /// After so many nanoseconds without activity it says that it is idle; 0 for never.
    std::uint64_t idle = 0;
  };

  /// Makes the process. False, with `failure` filled in and nothing left behind, when that is impossible.
  [[nodiscard]] bool start(const SpawnSetting& setting, const Start& start, StartFailure& failure);

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  /// CLOCK_REALTIME in nanoseconds.
  [[nodiscard]] std::uint64_t since() const noexcept { return since_; }

  /// Kills it and reaps it at once, unheard, because of `error`, an errno value that `failure` is filled in with: it is
  /// as if it had not been started.
  void abandon(int error, StartFailure& failure) noexcept;
  /// Asks it to end.
  void terminate() const noexcept;
  /// Ends it with everything in its process group.
  void kill() const noexcept;
  /// Allows it to leave.
  void letLeave() const noexcept;

  /// Reads what the process has said by now, as when the link becomes ready.
  void readRecords() { readLink(Turn::Short); }

 private:
  struct Ends;
  enum class Turn : std::uint8_t { Short, ToTheEnd };

  [[nodiscard]] int watchAll();
  void readStatus();
  [[nodiscard]] int watchLink();
  void readLink(Turn turn);
  /// Reads nothing more of the link until its allowance is there again.
  void restLink();
  void tell(const ManagerRecord& record, std::string_view text);
  void readLog(Turn turn);
  void killGroup() const noexcept;
  void end();

  ServiceProcessOwner& owner_;
  const InstanceId instance_;
  LogRing& log_;
  LogAssembly assembly_;
  pid_t pid_ = -1;
  std::uint64_t since_ = 0;
  /// The service was executed, so the process leads a group of its own.
  bool isExecuted_ = false;
  Fd process_;
  Fd link_;
  Fd status_;
  Fd output_;
  Watch processWatch_;
  Watch linkWatch_;
  Watch statusWatch_;
  Watch outputWatch_;
  Allowance linkAllowance_;
  /// Set while the link rests.
  Alarm linkRest_;
  bool hasToldOfRest_ = false;
};

}  // namespace vanto::manager

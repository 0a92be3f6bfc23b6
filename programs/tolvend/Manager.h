// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <unistd.h>

#include "ipc/PublishedSocket.h"
#include "tolvend/Alarms.h"
#include "tolvend/Children.h"
#include "tolvend/DirectoryGuard.h"
#include "tolvend/Ephemeral.h"
#include "tolvend/FormerProcesses.h"
#include "tolvend/InstanceLimit.h"
#include "tolvend/JobStore.h"
#include "tolvend/Jobs.h"
#include "tolvend/LossLog.h"
#include "tolvend/ManagerDirectory.h"
#include "tolvend/Messages.h"
#include "tolvend/Options.h"
#include "tolvend/Orders.h"
#include "tolvend/OwnProcess.h"
#include "tolvend/ProcessRecords.h"
#include "tolvend/SpareDescriptor.h"
#include "tolvend/Spawn.h"
#include "tolvend/Strays.h"
#include "tolvend/SystemLogSocket.h"

namespace vanto::manager {

/// What the process ends with.
enum ExitStatus : int { Ended = 0, Failed = 1, WrongUsage = 2, InUse = 75 };

/// The whole manager. One in a process, which is its own; what it says goes to standard error. Main thread only.
class Manager {
 public:
  explicit Manager(Options options, LifeCycleTimes times = {});

  /// Takes charge of the domain and serves until it is asked to end. Ends the process.
  [[noreturn]] void run();

 private:
  /// An exit status, once it cannot go on.
  using Failure = std::optional<int>;

  /// Says why, and gives the status.
  [[nodiscard]] int failed(const std::string& line, int status = ExitStatus::Failed);
  [[nodiscard]] Failure prepare();
  [[nodiscard]] Failure takeCharge();
  [[nodiscard]] Failure openStore();
  [[nodiscard]] Failure publishOrders();
  [[nodiscard]] Failure runCommand();
  void makeJobs();
  void restoreJobs();
  void offerLogSocket();
  void guardSockets();
  void lookAfterOrdersSocket();
  void lookAfterDirectory();

  void readSignals();
  /// As somebody has asked for: with a command, once that has ended.
  void obeyEnd(int status);
  void endCommand();
  void commandEnded(int status);
  void sweep() { strays_.sweep(ephemeral_.pid()); }
  void end(int status);
  void endIfEmpty();
  [[noreturn]] void leave(int status);

  const Options options_;
  const LifeCycleTimes times_;
  Messages messages_{STDERR_FILENO};
  FormerState former_;
  Alarms alarms_;
  std::optional<SpareDescriptor> spare_;
  SpawnSetting spawn_;
  ProcessRecords records_;
  BoundSockets sockets_;
  InstanceLimit limit_;
  Children children_;
  ManagerDirectory directory_;
  std::optional<JobStore> store_;
  std::optional<FormerProcesses> formerProcesses_;
  std::optional<Jobs> jobs_;
  std::optional<Orders> orders_;
  PublishedSocket ordersSocket_;
  std::string ordersFile_;
  LossLog ordersLossLog_;
  DirectoryGuard guard_;
  std::optional<SystemLogSocket> log_;
  Strays strays_;
  /// Set while a service has ended and what it left behind was not looked for.
  Alarm sweeping_;
  Ephemeral ephemeral_;
  Fd signals_;
  Watch signalsWatch_;
  Alarm leaving_;
  /// Set while the command has been asked to end.
  Alarm killing_;
  bool isEnding_ = false;
  int status_ = ExitStatus::Ended;
};

}  // namespace vanto::manager

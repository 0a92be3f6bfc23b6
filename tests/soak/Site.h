// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "soak/Ledger.h"
#include "soak/SanitizerReports.h"
#include "support/RunningManager.h"
#include "support/TemporaryDirectory.h"

namespace vanto::soak {

/// A manager in a runtime directory of its own, and the services that it manages, with all that can be done to them.
/// This process adopts what a killed manager leaves behind. One thread.
class Site {
 public:
  /// How long the shared service is idle before it may leave.
  static constexpr int idleSeconds = 1;

  struct Programs {
    std::string manager;
    std::string proxy;
    std::string service;
  };
  explicit Site(const Programs& programs);
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;

  /// Starts the manager and loads the services. Empty, or what went wrong.
  [[nodiscard]] std::string begin();
  /// Ends the manager. Empty, or what went wrong: its status, or processes that are left.
  [[nodiscard]] std::string end();

  [[nodiscard]] const Ledger& ledger() const noexcept { return ledger_; }
  /// What a sanitizer has said of the manager, the proxy or a service, or empty.
  [[nodiscard]] std::string sanitizerReport() const { return reports_.first(); }

  /// What the manager says about a service.
  struct State {
    /// Or why it does not say anything.
    std::string state;
    /// The last one was made last.
    std::vector<pid_t> processes;
    /// Nanoseconds until it may be started again.
    std::int64_t retry = 0;
    std::int64_t starts = 0;
    std::int64_t failures = 0;
    /// When the last one was noticed, in nanoseconds of CLOCK_REALTIME.
    std::int64_t failureTime = 0;
  };
  [[nodiscard]] State state(Service service) const;
  /// True when the condition is, within ten seconds.
  [[nodiscard]] bool waitUntil(const std::function<bool()>& condition) const;

  // The services.
  /// Sends a signal to the processes of a service, if there are any.
  void signalProcesses(Service service, int signal) const;
  /// The same for all services.
  void signalProcesses(int signal) const;
  /// Kills the process of the shared service, which has not begun to listen, and notes that in the ledger.
  void killStarting();
  void removeExecutables() const;
  void makeExecutablesUnusable() const;
  /// Has processes of a service begin as SoakService.cpp says.
  void setMode(Service service, const std::string& mode) const;
  /// The same for all services.
  void setMode(const std::string& mode) const;
  /// The executables are there, can be executed, and begin as usual.
  void restore() const;

  // The manager.
  /// Gives an order about a service. Empty, or the error.
  [[nodiscard]] std::string order(const char* command, Service service) const;
  /// The same about each, until there is an error.
  [[nodiscard]] std::string order(const char* command) const;
  [[nodiscard]] std::string load() const;
  /// Kills the manager, and starts one anew. Empty, or what went wrong.
  [[nodiscard]] std::string replaceManager();

  /// What the manager holds.
  struct Holdings {
    int descriptors = 0;
    long kilobytes = 0;
  };
  [[nodiscard]] Holdings holdings() const;

  /// Reaps what has ended of the processes that this one has adopted. A manager that was started anew waits for that.
  void reapAdopted() const;

 private:
  [[nodiscard]] std::vector<pid_t> children() const;
  [[nodiscard]] std::string executable(Service service) const {
    return directory_ / (std::string("service/") + nameOf(service));
  }

  const test::TemporaryDirectory directory_;
  const SanitizerReports reports_;
  Ledger ledger_;
  test::RunningManager manager_;
};

}  // namespace vanto::soak

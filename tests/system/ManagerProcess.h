// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::test {

/// How a manager is started.
struct ManagerSetting {
  std::vector<std::string> arguments = {};
  const char* program = VANTO_TEST_MANAGER;
  /// Called in the child before the manager takes its place.
  std::function<void()> prepare = [] {
  };
};

/// A manager in a process of its own, ended with its object.
class ManagerProcess {
 public:
  /// Starts it, and waits until it says that it is ready or has ended.
  explicit ManagerProcess(const ManagerSetting& setting = {});
  ~ManagerProcess();
  ManagerProcess(const ManagerProcess&) = delete;
  ManagerProcess& operator=(const ManagerProcess&) = delete;

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  [[nodiscard]] bool isReady() const noexcept { return isReady_; }

  void signal(int number) const;
  /// "exit status 0", "signal 9".
  [[nodiscard]] std::string waitForEnd();
  /// The same after SIGTERM.
  [[nodiscard]] std::string terminate();

  /// What it wrote to standard error.
  [[nodiscard]] std::string messages() const;
  /// What it has used of the processor, in clock ticks.
  [[nodiscard]] long processorTicks() const;

 private:
  void awaitReady();

  TemporaryDirectory directory_;
  Fd notices_;
  pid_t pid_ = -1;
  bool isReady_ = false;
  std::string end_;
};

/// Whether a process is there and no zombie.
[[nodiscard]] bool isAlive(pid_t pid);

/// Stops a process, and waits until no thread of it runs any more.
void stopProcess(pid_t pid);

/// Waits until `condition` holds, looking often; false when it takes too long.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition);

}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include <VantoService/vanto.h>

namespace vanto::test {

/// Drops a reference to an object of the IPC runtime.
struct IpcRelease {
  void operator()(vanto_object_t object) const noexcept { vanto_release(object); }
};
using IpcPointer = std::unique_ptr<vanto_object, IpcRelease>;

/// A service manager of the user domain in a process of its own, for programs that run it for real and speak to it as
/// its tools do. Uses the public interface only. One thread.
class RunningManager {
 public:
  struct Setting {
    /// The files of the manager and of the proxy.
    std::string program;
    std::string proxy;
    /// The directory that stands for the user's runtime directory. This process must have set the same one.
    std::string runtimeDirectory;
    /// Further arguments of the manager.
    std::vector<std::string> arguments;
  };
  explicit RunningManager(Setting setting);
  /// Kills it if it still runs.
  ~RunningManager();
  RunningManager(const RunningManager&) = delete;
  RunningManager& operator=(const RunningManager&) = delete;

  /// Starts it, and waits until it says that it is ready; false when it has not after ten seconds, or does not run.
  [[nodiscard]] bool start();
  /// Kills and reaps it. It may be started again.
  void kill();
  /// Asks it to end. Its exit status; negative when it was ended by a signal or has not ended in time.
  [[nodiscard]] int terminate(int milliseconds);

  /// Of the manager; -1 while there is none.
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  /// Sends an order; `label` may be null. The reply, or an error object.
  [[nodiscard]] IpcPointer order(const char* command, const char* label) const;
  /// Whether one process serves all clients, or each connection has one of its own.
  enum class Instances { One, Multiple };
  /// Loads the job of a service `label` whose executable is `program`, and that leaves when it is idle. Empty, or why
  /// not.
  [[nodiscard]] std::string load(const std::string& label, const std::string& program,
                                 Instances instances = Instances::One) const;

  /// The text of "error" in a reply, or that of an error object; empty for a good reply.
  [[nodiscard]] static std::string errorIn(vanto_object_t reply);

 private:
  [[nodiscard]] IpcPointer send(vanto_object_t request) const;
  [[nodiscard]] bool waitForEnd(int milliseconds, int& status);

  const Setting setting_;
  pid_t pid_ = -1;
};

}  // namespace vanto::test

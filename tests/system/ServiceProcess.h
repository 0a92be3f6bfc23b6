// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include <VantoService/vanto.h>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::test {

/// A service program that runs in a process of its own. Ended with its object.
class ServiceProcess {
 public:
  enum class Traced { No, Yes };

  /// Starts `executable` with `arguments`. A traced one can tell the message that it died with. `prepare` is called in
  /// the process before the program.
  ServiceProcess(const std::string& executable, const std::vector<std::string>& arguments, Traced traced = Traced::No,
                 const std::function<void()>& prepare = {});
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  /// Waits until the process ends, and gives its wait status; -1 when it does not end in time.
  [[nodiscard]] int waitForEnd();
  /// The same as a text: "exit status 1", "signal 6", "still running".
  [[nodiscard]] std::string waitForEndAsText();

  /// Asks it to end.
  void terminate() const;

  /// Of a traced process: lets it run until SIGABRT is about to end it, gives the message in its crash annotation
  /// record, and ends it.
  [[nodiscard]] std::string crashMessage();

  /// A connection to the service `name`, tried until somebody listens, or an error object. Owned by the caller.
  [[nodiscard]] vanto_object_t connect(const char* name) const;

  /// What it wrote to the system log, priority first.
  [[nodiscard]] std::vector<std::string> log() const;
  /// What it wrote to standard output and standard error.
  [[nodiscard]] std::string output() const;

 private:
  [[nodiscard]] bool hasEnded(int milliseconds) const;
  [[nodiscard]] std::uint64_t annotationsAddress() const;

  TemporaryDirectory directory_;
  pid_t pid_ = -1;
  /// Readable when the process has ended.
  Fd process_;
  bool reaped_ = false;
};

}  // namespace vanto::test

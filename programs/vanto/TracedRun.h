// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <string>
#include <vector>

#include <sys/types.h>

#include "learning/RunObserver.h"
#include "value/Fd.h"

namespace vanto::tool {

/// A command that runs under a tracer, with all that this process has for input, output and messages. The trace comes
/// through a pipe, so nothing of it is ever on disk.
class TracedRun {
 public:
  /// `tracer` is the path of strace; `observer` is borrowed.
  TracedRun(std::string tracer, learning::RunObserver& observer) noexcept
      : tracer_(std::move(tracer)), observer_(observer) {}

  /// Runs the command to its end and that of all processes that it leaves. Signals that are meant to end this process
  /// are handed on to the command meanwhile. Empty, or a visible text of what went wrong; the command may have run
  /// then.
  [[nodiscard]] std::string run(const std::vector<std::string>& command);

  /// How the command ended, as waitpid() says it; once run() has given no problem.
  [[nodiscard]] int status() const noexcept { return status_; }

 private:
  [[nodiscard]] std::string open();
  [[nodiscard]] std::string start(const std::vector<std::string>& command, const sigset_t& mask);
  [[nodiscard]] std::string follow();
  [[nodiscard]] bool hasEnded();
  /// Takes what is in the pipe; false when there is nothing.
  bool takeTrace();
  void takeLines();
  void takeSignal();
  void signalCommand();

  std::string tracer_;
  learning::RunObserver& observer_;
  Fd trace_;
  Fd traceWriter_;
  Fd signals_;
  Fd tracerProcess_;
  Fd commandProcess_;
  std::string pending_;
  std::size_t lines_ = 0;
  std::string problem_;
  int signal_ = 0;
  int status_ = 0;
};

}  // namespace vanto::tool

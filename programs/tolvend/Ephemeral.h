// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "tolvend/Watch.h"
#include "value/Fd.h"

namespace vanto::manager {

/// A run-time directory for one manager and one command, and that command. Main thread only.
class Ephemeral {
 public:
  /// Makes DIR where it is missing and the directory DIR/run, and names that in XDG_RUNTIME_DIR. An empty text, or what
  /// is wrong and what to do.
  [[nodiscard]] std::string prepare(const std::string& directory);

  /// Runs a command with descriptor `input` as its standard input, and calls `ended` with the exit status of a shell
  /// for it. An empty text, or why not.
  [[nodiscard]] std::string run(const std::vector<std::string>& command, int input, std::function<void(int)> ended);
  /// Asks the command to end.
  void terminate() const noexcept;
  /// Ends it at once.
  void kill() const noexcept;

  /// The process of the command while it is not reaped; 0 for none.
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  /// Removes what was made.
  void remove() noexcept;

 private:
  void reap();

  std::string directory_;
  bool hasMadeDirectory_ = false;
  bool hasMadeRun_ = false;
  pid_t pid_ = 0;
  Fd process_;
  Watch watch_;
  std::function<void(int)> ended_;
};

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

namespace vanto::test {

/// Kills a process in the midst of its work: follows its system calls, from another process, and kills it with SIGKILL
/// at one of them. What it was followed for goes on freely once that has happened, or this object has ended.
class StepKiller {
 public:
  enum class Victim { Process, Child };

  /// Follows all threads of `process`, and all children that it makes. The victim is ended when it, or any child of the
  /// process for Victim::Child, begins or ends its `step`-th system call from now on; each counts twice. When this
  /// returns, they are followed. `child` is one that runs already; 0 for none.
  StepKiller(pid_t process, Victim victim, int step, pid_t child = 0);
  ~StepKiller();
  StepKiller(const StepKiller&) = delete;
  StepKiller& operator=(const StepKiller&) = delete;

  /// Stops following. True when the victim was killed.
  [[nodiscard]] bool hasKilled();

 private:
  pid_t follower_ = -1;
  int status_ = 0;
};

}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include "tolvend/Children.h"

namespace vanto::manager {

/// Processes that services have left behind, and that became children of the manager when their parents ended. Not all
/// orphans that come to it are such: what is not known to be of a service is left alone. Main thread only.
class Strays {
 public:
  /// `services` are the children that are none, and what they leave behind is; borrowed.
  explicit Strays(const Children& services) : services_(services) {}

  /// Has orphans become children of this process; to be called before it has made a child itself. 0, or an errno value.
  [[nodiscard]] int adopt();
  /// From now on orphans may be of other processes than services, too.
  void expectOthers() noexcept { areOthersExpected_ = true; }

  /// Kills what services that have ended have left behind, and reaps every child that has ended but services and
  /// `command`, another one of the manager's own; 0 for none.
  void sweep(pid_t command) const;

 private:
  [[nodiscard]] bool isLeftBehind(pid_t pid) const;

  const Children& services_;
  bool areOthersExpected_ = false;
};

}  // namespace vanto::manager

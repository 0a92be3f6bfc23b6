// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

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
  /// `command`, another one of the manager's own; 0 for none. True when there was something left behind: its own
  /// children come to the manager only when it has ended.
  bool sweep(pid_t command) const;
  /// Sweeps until nothing is left behind any more, for at most `patience` nanoseconds.
  void sweepAll(pid_t command, std::uint64_t patience) const;

 private:
  [[nodiscard]] bool isLeftBehind(pid_t pid) const;

  const Children& services_;
  /// Until orphans come, whoever is a child is none of a service.
  bool areOthersExpected_ = true;
};

}  // namespace vanto::manager

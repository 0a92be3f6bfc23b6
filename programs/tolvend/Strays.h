// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <sys/types.h>

namespace vanto::manager {

/// Processes that a service has left behind, and that became children of the manager when their parents ended. Main
/// thread only.
class Strays {
 public:
  /// `isOwn` tells which children are not strays.
  explicit Strays(std::function<bool(pid_t)> isOwn) : isOwn_(static_cast<std::function<bool(pid_t)>&&>(isOwn)) {}

  /// Has orphans become children of this process. 0, or an errno value.
  [[nodiscard]] static int adopt() noexcept;

  /// Kills every child that is none of the manager's own, and reaps those that have ended.
  void sweep() const;

 private:
  const std::function<bool(pid_t)> isOwn_;
};

}  // namespace vanto::manager

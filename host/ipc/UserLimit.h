// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <sys/types.h>

/// How many connections a process accepts: so many of one user, and together three quarters of its descriptors. Any
/// thread.
namespace vanto {

struct ConnectionLimit {
  /// Counts a connection of `user`. False, with nothing counted, when there are too many already.
  [[nodiscard]] static bool take(uid_t user) noexcept;
  static void giveBack(uid_t user) noexcept;

  /// Sets how many one user may have, in place of limits::ipcConnectionsPerUser.
  static void setPerUser(std::size_t count) noexcept;
};

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <sys/types.h>

/// What one user may have this process hold: so many connections, all users together as many as three quarters of its
/// descriptors; and so many bytes of messages in chunks. Any thread.
namespace vanto {

struct UserLimit {
  /// Counts a connection of `user`. False, with nothing counted, when there are too many already.
  [[nodiscard]] static bool takeConnection(uid_t user) noexcept;
  static void giveConnectionBack(uid_t user) noexcept;

  /// Counts `bytes`, at most limits::ipcMessageBytes, of a message in chunks. False, with nothing counted, when there
  /// would be more than limits::ipcChunkedBytesPerUser.
  [[nodiscard]] static bool takeBytes(uid_t user, std::size_t bytes) noexcept;
  static void giveBytesBack(uid_t user, std::size_t bytes) noexcept;

  /// Sets how many connections one user may have, in place of limits::ipcConnectionsPerUser.
  static void setConnections(std::size_t count) noexcept;
};

}  // namespace vanto

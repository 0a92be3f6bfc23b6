// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vanto::manager {

/// How the clients who wait at a listener have changed between two looks at them.
enum class WaitingChange : std::uint8_t {
  Nobody,   ///< nobody waits, and nobody did before
  Come,     ///< somebody waits, and nobody did before
  Same,     ///< all who waited wait still, as far as can be seen
  Accepted  ///< somebody who waited has been accepted, whoever waits now
};

/// Who waited at a listening Unix socket at one moment, in the order in which they came. Who has left is among them
/// until he is accepted.
struct WaitingClients {
  std::size_t count = 0;
  /// The inode of the socket of each, 0 for one who has left; empty where the kernel does not tell, as of thousands.
  std::vector<std::uint32_t> sockets;
  /// Else the count is 1 for any number: the kernel has no diagnosis of sockets (CONFIG_UNIX_DIAG), or not for this
  /// process, or there was no descriptor for the question.
  bool isCounted = true;
};

/// Reads who waits at a listening socket, which is borrowed.
[[nodiscard]] WaitingClients readWaitingClients(int listener);

/// Compares two looks at one socket.
[[nodiscard]] WaitingChange changeOf(const WaitingClients& before, const WaitingClients& now) noexcept;

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <sys/types.h>

#include <VantoService/vanto.h>

#include "value/Fd.h"

namespace vanto {

/// The listening socket of a service: bound under its name in the user's domain, or inherited. For an instance that a
/// manager has started for one connection, that connection in its place. Not thread-safe.
class ServiceSocket {
 public:
  /// Has the socket of `name` listen, unless there is a connection for it. VANTO_ERROR_IN_USE when somebody else
  /// listens there, VANTO_ERROR_NAME, VANTO_ERROR_TOO_LARGE when too many sockets were handed over, VANTO_ERROR_SYSTEM
  /// with errno.
  [[nodiscard]] vanto_error_code_t open(std::string_view name) noexcept;

  /// Whether it came from a manager.
  [[nodiscard]] bool isInherited() const noexcept { return socket_ && !directory_; }

  [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

  /// Whether it is for one connection and listens nowhere, also once that has been taken.
  [[nodiscard]] bool isConnection() const noexcept { return isConnection_; }
  /// Gives the connection away, as if it had just been accepted.
  [[nodiscard]] Fd takeConnection() noexcept { return std::move(socket_); }

  /// Closes it. A name that was bound here is removed before; an inherited socket lives on where it came from.
  void close() noexcept;

 private:
  [[nodiscard]] vanto_error_code_t bindNew(const std::string& file) noexcept;
  [[nodiscard]] vanto_error_code_t publish(const std::string& file, const std::string& temporary) noexcept;

  Fd socket_;
  bool isConnection_ = false;
  /// Where it was bound; none for an inherited one.
  Fd directory_;
  std::string file_;
  ino_t inode_ = 0;
};

/// Connects to the socket called `file` in a directory. None with errno; EAGAIN when nobody has taken the connection
/// until `deadline` (as for setTimer(); in the past for not waiting at all).
[[nodiscard]] Fd connectToSocket(int directory, const char* file, std::uint64_t deadline) noexcept;

}  // namespace vanto

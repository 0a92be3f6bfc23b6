// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

#include <VantoService/vanto.h>

#include "value/Fd.h"

namespace vanto {

/// The listening socket of a service: bound under its name in the user's domain, or inherited. Not thread-safe.
class ServiceSocket {
 public:
  /// Has the socket of `name` listen. VANTO_ERROR_IN_USE when somebody else listens there, VANTO_ERROR_NAME,
  /// VANTO_ERROR_TOO_LARGE when too many sockets were handed over, VANTO_ERROR_SYSTEM with errno.
  [[nodiscard]] vanto_error_code_t open(std::string_view name) noexcept;

  [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

  /// Closes it. A name that was bound here is removed before; an inherited socket lives on where it came from.
  void close() noexcept;

 private:
  [[nodiscard]] vanto_error_code_t bindNew(const std::string& file) noexcept;
  [[nodiscard]] vanto_error_code_t publish(const std::string& file, const std::string& temporary) noexcept;

  Fd socket_;
  /// Where it was bound; none for an inherited one.
  Fd directory_;
  std::string file_;
  ino_t inode_ = 0;
};

/// Connects to the socket called `file` in a directory. None with errno; EAGAIN when `timeout` nanoseconds have passed.
[[nodiscard]] Fd connectToSocket(int directory, const char* file, std::uint64_t timeout) noexcept;

}  // namespace vanto

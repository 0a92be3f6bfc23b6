// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <utility>

#include <VantoService/vanto.h>

#include "ipc/PublishedSocket.h"
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
  [[nodiscard]] bool isInherited() const noexcept { return static_cast<bool>(inherited_); }

  [[nodiscard]] int descriptor() const noexcept { return inherited_ ? inherited_.get() : published_.descriptor(); }

  /// Whether each socket that is accepted already tells who sends.
  [[nodiscard]] bool passesCredentialsOn() const noexcept { return inherited_ ? inheritedPasses_ : !isConnection_; }

  /// Whether it is for one connection and listens nowhere, also once that has been taken.
  [[nodiscard]] bool isConnection() const noexcept { return isConnection_; }
  /// Gives the connection away, as if it had just been accepted.
  [[nodiscard]] Fd takeConnection() noexcept { return std::move(inherited_); }

  /// Closes it. A name that was bound here is removed before; an inherited socket lives on where it came from.
  void close() noexcept;

 private:
  /// One of the two is open.
  Fd inherited_;
  PublishedSocket published_;
  bool isConnection_ = false;
  /// What passesCredentialsOn() says of an inherited one.
  bool inheritedPasses_ = false;
};

}  // namespace vanto

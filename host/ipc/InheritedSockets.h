// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include <VantoService/vanto.h>

#include "value/Fd.h"

/// The sockets that a manager has handed to this process (LISTEN_FDS), all of them Unix sockets of type SEQPACKET; any
/// others are left alone. The first call reads the environment, takes the variables out of it and makes the descriptors
/// close-on-exec; so it belongs before other threads use the environment. Each socket is given away once. Any thread.
namespace vanto {

/// What a socket that was handed over is for.
enum class InheritedSocket : std::uint8_t {
  Listening,  ///< listens for clients
  Connected   ///< is the service's end of one connection
};

/// Takes the socket of a type for the service `name`, if there is one: the one of that name, or of its socket's file
/// name, in LISTEN_FDNAMES; or the only one there is when its manager gave it no name of its own ("unknown", nothing at
/// all, or the name of a socket unit). Without one `socket` is untouched. VANTO_ERROR_TOO_LARGE, and nothing else, when
/// more than limits::ipcInheritedListeners sockets were handed over.
[[nodiscard]] vanto_error_code_t takeInheritedSocket(std::string_view name, InheritedSocket type, Fd& socket) noexcept;

/// Whether takeInheritedSocket() would give a socket of either type for the service `name`. Takes nothing.
[[nodiscard]] bool hasInheritedSocket(std::string_view name) noexcept;

/// Takes the service's end of the link to its manager; none where there is none.
[[nodiscard]] Fd takeManagerLink() noexcept;

}  // namespace vanto

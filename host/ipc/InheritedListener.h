// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include <VantoService/vanto.h>

#include "value/Fd.h"

namespace vanto {

/// Takes the listening socket that a manager has handed to this process for the service `name`, if there is one: the
/// one of that name, or of its socket's file name, in LISTEN_FDNAMES; or the only one there is when its manager gave it
/// no name of its own ("unknown", nothing at all, or the name of a socket unit). Anything but a listening Unix socket
/// of type SEQPACKET is left alone. Without one `listener` is untouched. VANTO_ERROR_TOO_LARGE, and nothing else, when
/// more than limits::ipcInheritedListeners sockets were handed over.
///
/// The first call reads the environment, takes the variables out of it and makes the descriptors close-on-exec; so it
/// belongs before other threads use the environment. Each socket is given away once.
[[nodiscard]] vanto_error_code_t takeInheritedListener(std::string_view name, Fd& listener) noexcept;

}  // namespace vanto

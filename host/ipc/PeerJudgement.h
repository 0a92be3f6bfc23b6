// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/vanto.h>

#include "process/AuditToken.h"

/// Whether a client may connect, as the program's evaluator says. Any thread.
namespace vanto {

struct Handshake;

/// Has `evaluator` judge each client from now on; null for nobody.
void setPeerEvaluator(vanto_peer_evaluator_t evaluator) noexcept;

/// Has the client at the other end of a socket judged, about whom everything that can be told is looked up first and
/// left in `facts` and `handshake`. VANTO_ERROR_NONE when it is admitted, else what it is refused with. Without an
/// evaluator everybody is admitted and nothing looked up.
[[nodiscard]] vanto_error_code_t judgePeer(int socket, ProcessFacts& facts, Handshake& handshake) noexcept;

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "ipc/ServiceSocket.h"

#include <fcntl.h>
#include <sys/socket.h>

#include "ipc/Domain.h"
#include "ipc/InheritedSockets.h"
#include "ipc/PeerCredentials.h"
#include "ipc/SocketName.h"

namespace vanto {

namespace {

/// Takes from a connection what who accepted it may have set.
bool becomeAsAccepted(int socket) noexcept {
  const int flags = fcntl(socket, F_GETFL);
  const timeval none{};
  return flags >= 0 && fcntl(socket, F_SETFL, flags & ~O_NONBLOCK) == 0 &&
         setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &none, sizeof none) == 0 &&
         setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &none, sizeof none) == 0;
}

}  // namespace

vanto_error_code_t ServiceSocket::open(std::string_view name) noexcept {
  const std::string file = socketFileName(name);
  if (file.empty()) return VANTO_ERROR_NAME;
  const vanto_error_code_t code = takeInheritedSocket(name, InheritedSocket::Listening, inherited_);
  if (code != VANTO_ERROR_NONE) return code;
  if (!inherited_) {
    static_cast<void>(takeInheritedSocket(name, InheritedSocket::Connected, inherited_));
    isConnection_ = static_cast<bool>(inherited_);
    if (!isConnection_) return published_.open(openOrCreateUserDomain(), file);
    return becomeAsAccepted(inherited_.get()) ? VANTO_ERROR_NONE : VANTO_ERROR_SYSTEM;
  }
  // Who connected before has a socket that is as this one was then.
  inheritedPasses_ = passesSenderCredentials(inherited_.get());
  // Clients are told who called this last; before, that was who made the socket.
  const int flags = fcntl(inherited_.get(), F_GETFL);
  const bool isReady = flags >= 0 && fcntl(inherited_.get(), F_SETFL, flags | O_NONBLOCK) == 0 &&
                       enableSenderCredentials(inherited_.get()) && listen(inherited_.get(), SOMAXCONN) == 0;
  return isReady ? VANTO_ERROR_NONE : VANTO_ERROR_SYSTEM;
}

void ServiceSocket::close() noexcept {
  published_.close();
  inherited_.reset();
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "tolvend/SpareDescriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/socket.h>

namespace vanto::manager {

void SpareDescriptor::restore() noexcept {
  if (!spare_) spare_.reset(fcntl(0, F_DUPFD_CLOEXEC, 0));
}

Accepted acceptClient(int listener) noexcept {
  for (;;) {
    Fd socket(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    if (socket) return {Accepted::Result::Client, static_cast<Fd&&>(socket)};
    if (errno == EINTR || errno == ECONNABORTED) continue;
    // Want of memory passes too, and is not cured by asking at once.
    return {errno == EAGAIN ? Accepted::Result::Nobody : Accepted::Result::NoDescriptor, {}};
  }
}

Accepted acceptClient(int listener, SpareDescriptor& spare) noexcept {
  Accepted accepted = acceptClient(listener);
  if (accepted.result != Accepted::Result::NoDescriptor) return accepted;
  spare.giveUp();
  return acceptClient(listener);
}

}  // namespace vanto::manager

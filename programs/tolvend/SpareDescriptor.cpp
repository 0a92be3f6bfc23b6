// SPDX-License-Identifier: Apache-2.0
#include "tolvend/SpareDescriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

namespace vanto::manager {

namespace {

/// Whether a call of accept() would come back. Whoever was handed the socket may have had it block meanwhile: a call
/// for a client who is not there, or whom another process takes first, must find that undone.
bool isReady(int listener) noexcept {
  pollfd set{listener, POLLIN, 0};
  int count = -1;
  while ((count = poll(&set, 1, 0)) < 0 && errno == EINTR) {
  }
  if (count != 1) return false;
  const int flags = fcntl(listener, F_GETFL);
  return flags >= 0 && ((flags & O_NONBLOCK) != 0 || fcntl(listener, F_SETFL, flags | O_NONBLOCK) == 0);
}

}  // namespace

void SpareDescriptor::restore() noexcept {
  if (!spare_) spare_.reset(fcntl(0, F_DUPFD_CLOEXEC, 0));
}

Accepted acceptClient(int listener) noexcept {
  while (isReady(listener)) {
    Fd socket(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    if (socket) return {Accepted::Result::Client, static_cast<Fd&&>(socket), 0};
    if (errno == EINTR || errno == ECONNABORTED) continue;
    // Want of memory passes too, and is not cured by asking at once. A socket that was shut down is EINVAL.
    if (errno == EAGAIN || errno == EINVAL) return {};
    return {Accepted::Result::NoDescriptor, {}, errno};
  }
  return {};
}

Accepted acceptClient(int listener, SpareDescriptor& spare) noexcept {
  Accepted accepted = acceptClient(listener);
  if (accepted.result != Accepted::Result::NoDescriptor) return accepted;
  spare.giveUp();
  return acceptClient(listener);
}

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Descriptors.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "vantoproxy/SystemCall.h"

namespace vanto {

namespace {

constexpr unsigned lastDescriptor = ~0U;

int closeFromTo(unsigned first, unsigned last) noexcept {
  return first > last ? 0 : errorIn(systemCall(SYS_close_range, first, last));
}

}  // namespace

Failure plugStandardDescriptors() noexcept {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; descriptor++) {
    if (systemCall(SYS_fcntl, descriptor, F_GETFD) != -EBADF) continue;
    // The lowest free number is this one.
    const int error = errorIn(systemCall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR));
    if (error == 0) continue;
    return {ExecStage::Descriptors, error, "/dev/null cannot be opened in the place of a standard stream",
            "make /dev/null usable, or leave the descriptors 0 to 2 open"};
  }
  return {};
}

Failure closeAllBut(const Handover& handover) noexcept {
  const auto firstOther = static_cast<unsigned>(firstListener + handover.listeners);
  int error = 0;
  if (handover.status < 0) {
    error = closeFromTo(firstOther, lastDescriptor);
  } else {
    const auto status = static_cast<unsigned>(handover.status);
    error = closeFromTo(firstOther, status - 1);
    if (error == 0) error = closeFromTo(status + 1, lastDescriptor);
  }
  if (error == 0) return {};
  return {ExecStage::Descriptors, error, "the descriptors that are not for the service cannot be closed",
          "use Linux 5.9 or later, and allow the system call close_range"};
}

}  // namespace vanto

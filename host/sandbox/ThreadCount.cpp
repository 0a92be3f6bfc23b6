// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ThreadCount.h"

#include <cerrno>

#include <sys/stat.h>

namespace vanto {

std::size_t threadCount() noexcept {
  // It has one directory for each thread, and as many links more than its own two. Listing it would cost a buffer.
  constexpr nlink_t ownLinks = 2;
  struct stat facts;
  if (stat("/proc/self/task", &facts) != 0) return 0;
  errno = ENOSYS;
  return facts.st_nlink > ownLinks ? facts.st_nlink - ownLinks : 0;
}

}  // namespace vanto

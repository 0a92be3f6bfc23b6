// SPDX-License-Identifier: Apache-2.0
#include "value/Assertion.h"

#include <cstdio>
#include <cstdlib>

#include <syslog.h>
#include <unistd.h>

namespace vanto {

void assertionFailed(const char* function, const char* file, int line, const char* condition) noexcept {
  syslog(LOG_ERR, "Assertion failed: %s, function %s, file %s, line %d.", condition, function, file, line);
  if (isatty(STDERR_FILENO) == 1) {
    std::fprintf(stderr, "Assertion failed: %s, function %s, file %s, line %d.\n", condition, function, file, line);
  }
  std::abort();
}

}  // namespace vanto

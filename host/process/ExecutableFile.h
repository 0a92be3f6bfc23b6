// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

namespace vanto {

/// Which file a process executes; 0 where that may not be seen.
struct ExecutableFile {
  dev_t device = 0;
  ino_t inode = 0;

  [[nodiscard]] bool operator==(const ExecutableFile&) const noexcept = default;
  [[nodiscard]] bool isKnown() const noexcept { return inode != 0; }
};

}  // namespace vanto

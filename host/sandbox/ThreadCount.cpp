// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ThreadCount.h"

#include <dirent.h>

namespace vanto {

std::size_t threadCount() noexcept {
  DIR* const tasks = opendir("/proc/self/task");
  if (tasks == nullptr) return 0;
  std::size_t count = 0;
  while (const dirent* entry = readdir(tasks)) {
    if (entry->d_name[0] != '.') ++count;
  }
  closedir(tasks);
  return count;
}

}  // namespace vanto

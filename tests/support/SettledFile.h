// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vanto::testing {

/// Makes a file one whose last change is long ago, as far as who keeps what it read of it is concerned: waits until it
/// is.
inline void settle(const std::string& path) {
  struct stat status;
  timespec now{};
  do {
    usleep(20'000);
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    clock_gettime(CLOCK_REALTIME, &now);
  } while (now.tv_sec - status.st_ctim.tv_sec < 3);
}

}  // namespace vanto::testing

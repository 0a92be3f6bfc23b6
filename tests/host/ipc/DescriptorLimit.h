// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "value/Fd.h"

namespace vanto::test {

/// Leaves the process room for so many further descriptors as long as it lives.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(std::size_t room) {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
    // They take the lowest numbers that are free.
    std::vector<Fd> taken;
    int highest = -1;
    for (std::size_t i = 0; i <= room; i++) {
      taken.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
      EXPECT_TRUE(taken.back());
      highest = std::max(highest, taken.back().get());
    }
    const rlimit fewer{static_cast<rlim_t>(highest), before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &fewer), 0);
  }
  ~DescriptorLimit() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_{};
};

}  // namespace vanto::test

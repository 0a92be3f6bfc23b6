// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

// The sanitizers have memory management of their own, which can be neither limited nor asked.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VANTO_TEST_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VANTO_TEST_SANITIZED
#endif

namespace vanto::test {

/// Lets the process, which should be a child made for it, take `bytes` more of memory than it has; whoever asks for
/// more than that is aborted.
inline void limitFurtherMemory(std::size_t bytes) {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  struct rlimit limit {};
  limit.rlim_cur = limit.rlim_max = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + bytes;
  setrlimit(RLIMIT_AS, &limit);
}

}  // namespace vanto::test

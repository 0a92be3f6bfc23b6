// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "value/Fd.h"

namespace vanto::test {

/// Counts how often files directly in a directory are opened and closed.
class OpenCounter {
 public:
  explicit OpenCounter(const std::string& directory) : notifications_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_GE(inotify_add_watch(notifications_.get(), directory.c_str(), IN_OPEN | IN_CLOSE), 0);
  }

  /// Since the last call.
  struct Counts {
    int opened = 0;
    int closed = 0;
  };
  Counts take() {
    Counts counts;
    alignas(inotify_event) char events[4096];
    ssize_t size;
    while ((size = read(notifications_.get(), events, sizeof events)) > 0) {
      for (ssize_t at = 0; at < size;) {
        inotify_event event;
        std::memcpy(&event, events + at, sizeof event);
        if ((event.mask & IN_OPEN) != 0) ++counts.opened;
        if ((event.mask & IN_CLOSE) != 0) ++counts.closed;
        at += static_cast<ssize_t>(sizeof event + event.len);
      }
    }
    return counts;
  }

 private:
  Fd notifications_;
};

}  // namespace vanto::test

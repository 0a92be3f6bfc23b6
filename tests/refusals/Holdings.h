// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <sys/types.h>

namespace vanto::refusals {

/// What a process holds.
struct Holdings {
  /// Open descriptors; -1 when this user may not see them, as those of a process without dumps.
  long descriptors = -1;
  /// Proportional set size; -1 as above. It also moves with how many other processes map the same libraries.
  long proportionalKilobytes = -1;
  /// Memory of its own that lies in no file: what it can have lost.
  long anonymousKilobytes = -1;

  [[nodiscard]] static Holdings of(pid_t process);

  /// What a process that had the earlier ones has more of than it may; empty when nothing.
  [[nodiscard]] std::string growthSince(const Holdings& earlier) const;
};

}  // namespace vanto::refusals

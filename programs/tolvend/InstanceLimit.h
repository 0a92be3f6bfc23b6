// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>

#include <sys/types.h>

namespace vanto::manager {

/// How many instances of jobs that have several are there for each user who connected, over all jobs of the manager.
/// What counts is the process: from before it is made until it has ended. Not thread-safe.
class InstanceLimit {
 public:
  /// Counts an instance for `user`. False, with nothing counted, when there are limits::instancesPerUser already.
  [[nodiscard]] bool take(uid_t user);
  /// Undoes one take().
  void giveBack(uid_t user) noexcept;
  [[nodiscard]] std::size_t count(uid_t user) const noexcept;

 private:
  /// Users with at least one instance.
  std::map<uid_t, std::size_t> instances_;
};

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "value/Fd.h"

namespace vanto {

/// Directories, whatever names lead to them.
class DirectorySet {
 public:
  /// Leaves out what nothing can be found out about.
  void add(const Fd& directory);

  [[nodiscard]] bool isEmpty() const noexcept { return directories_.empty(); }
  /// Whether `directory` is one of the set or lies beneath one; also true when that cannot be told.
  [[nodiscard]] bool covers(const Fd& directory) const;

 private:
  /// Device and inode.
  using Identity = std::pair<std::uint64_t, std::uint64_t>;

  std::vector<Identity> directories_;
};

}  // namespace vanto

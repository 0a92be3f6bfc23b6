// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
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
  [[nodiscard]] bool covers(const Fd& directory);

 private:
  /// Device and inode.
  using Identity = std::pair<std::uint64_t, std::uint64_t>;
  /// A directory in the tree of mounts, where one directory can be at several places.
  struct Location {
    Identity identity;
    std::uint64_t mount;

    [[nodiscard]] friend bool operator==(const Location& left, const Location& right) noexcept = default;
  };

  [[nodiscard]] static std::optional<Location> locationOf(int directory) noexcept;

  std::vector<Identity> directories_;
  /// Found to be outside: most paths begin at the same few directories. Of no use when the set has grown.
  std::vector<Location> outside_;
};

}  // namespace vanto

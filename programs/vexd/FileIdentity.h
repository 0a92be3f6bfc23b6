// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstdint>

#include <sys/stat.h>

namespace vanto::vexd {

/// By what it is known that a file is the one that was read, unchanged. All 0 for a file that is not there.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t mount = 0;
  std::int64_t size = 0;
  std::int64_t changed = 0;

  auto operator<=>(const FileIdentity&) const noexcept = default;

  /// That of a descriptor, none for -1. False, for what cannot be relied upon: the kernel does not tell, it changed
  /// less than limits::settledNanoseconds ago, so that one more change could go unseen, or its file system is none of
  /// those whose times of change only the kernel makes.
  [[nodiscard]] static bool of(int descriptor, FileIdentity& identity) noexcept;
};

}  // namespace vanto::vexd

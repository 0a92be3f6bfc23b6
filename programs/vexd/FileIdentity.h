// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstdint>

#include <sys/stat.h>

namespace vanto::vexd {

/// By what it is known that a file is the one that was read, unchanged. All 0 for a file that is not there.
struct FileIdentity {
  /// What is looked at where a symbolic link is.
  enum class Links : std::uint8_t { Themselves, Targets };

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

  /// That of what is at `path`, none where nothing is. Enough to tell a file from another one or an earlier state, not
  /// to rely on it being unchanged from here on. False when that cannot be told: beside failures, where the kernel has
  /// no numbers of mounts that are never used again (before Linux 6.8), so that the file system could be another one.
  [[nodiscard]] static bool at(const char* path, Links links, FileIdentity& identity) noexcept;

  [[nodiscard]] bool isOfFile() const noexcept { return inode != 0; }

  /// The device as stat() tells it.
  [[nodiscard]] dev_t kernelDevice() const noexcept;
};

}  // namespace vanto::vexd

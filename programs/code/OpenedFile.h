// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "value/Fd.h"

namespace vanto::code {

enum class FileLinks : std::uint8_t { Followed, Refused };

/// What a file must be like to be read.
struct FileRules {
  std::size_t mostBytes = 0;
  /// Permissions that it must not have.
  mode_t forbidden = 0;
  /// Whom it may belong to; anyone when empty.
  std::vector<uid_t> owners;
};

/// A small regular file that was read as a whole. Nothing is waited for: no writer of a FIFO, no device.
struct OpenedFile {
  /// None with a problem.
  std::optional<std::string> contents;
  /// A reason for people, without the name of the file.
  std::string problem;
  /// There is no such file, which is a problem too.
  bool isMissing = false;

  /// The file at `path`, relative to the directory.
  [[nodiscard]] static OpenedFile open(int directory, const char* path, FileLinks links, const FileRules& rules);
  /// That of a descriptor.
  [[nodiscard]] static OpenedFile read(int descriptor, const FileRules& rules);
};

/// Opens `path`, which is relative, for reading below the directory: no component of it may be a symbolic link, ".."
/// or empty. None with errno set; ELOOP for a link.
[[nodiscard]] Fd openBeneath(int directory, std::string_view path, int flags) noexcept;

}  // namespace vanto::code

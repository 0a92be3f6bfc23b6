// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vanto {

/// What bundles do with paths beyond taking them apart as text.
struct BundlePath {
  /// `place`, which is empty or starts with a slash, inside the directory `path`.
  [[nodiscard]] static std::string inside(std::string_view path, std::string_view place);

  /// True when `name` can name an entry of a directory: not empty, no slash, no NUL, neither "." nor "..".
  [[nodiscard]] static bool isSingleComponent(std::string_view name) noexcept;

  /// True when `path` lies below `directory`. Both are absolute and resolved.
  [[nodiscard]] static bool isBelow(std::string_view path, std::string_view directory) noexcept;

  /// The path made absolute, with one slash where it has several. Symbolic links are resolved only when the path has a
  /// ".." component, which cannot be understood otherwise. None when the file system does not tell.
  [[nodiscard]] static std::optional<std::string> absolute(std::string_view path);

  /// The path with all symbolic links resolved; none when nothing is there.
  [[nodiscard]] static std::optional<std::string> real(const char* path);
};

}  // namespace vanto

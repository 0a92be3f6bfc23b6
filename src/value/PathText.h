// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto {

/// Paths taken apart as text. Slashes at the end of a path do not count as the start of a component.
struct PathText {
  /// May be empty, for a path of slashes only.
  [[nodiscard]] static std::string_view withoutSlashesAtEnd(std::string_view path) noexcept;
  [[nodiscard]] static std::string_view withoutSlashesAtStart(std::string_view path) noexcept;

  /// Empty for the root directory and the empty path.
  [[nodiscard]] static std::string_view lastComponent(std::string_view path) noexcept;

  /// What is in front of the last component; "/" where that is the root directory, empty where there is nothing.
  [[nodiscard]] static std::string_view parent(std::string_view path) noexcept;

  /// The text behind the last "." of the last component, empty when there is none.
  [[nodiscard]] static std::string_view extension(std::string_view path) noexcept;

  /// `path`, which is not empty, without "." components, doubled slashes and slashes at its end, and with each ".."
  /// taken out together with the component in front of it. ".." at the root stays there; a relative path keeps leading
  /// ".." components, and is "." when nothing else is left.
  [[nodiscard]] static std::string standardized(std::string_view path);
};

}  // namespace vanto

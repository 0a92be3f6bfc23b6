// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto::tool {

/// What paths of bundles say by their text alone.
struct ServicePath {
  /// Behind the last dot of the last component; empty when there is none.
  [[nodiscard]] static std::string_view extension(std::string_view path) noexcept;
  /// The last component.
  [[nodiscard]] static std::string_view name(std::string_view path) noexcept;
  /// Without slashes at its end; "/" stays.
  [[nodiscard]] static std::string_view trimmed(std::string_view path) noexcept;
};

}  // namespace vanto::tool

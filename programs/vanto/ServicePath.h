// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace vanto::tool {

/// What paths of bundles say by their text and the working directory alone.
struct ServicePath {
  /// Behind the last dot of the last component; empty when there is none.
  [[nodiscard]] static std::string_view extension(std::string_view path) noexcept;
  /// The last component.
  [[nodiscard]] static std::string_view name(std::string_view path) noexcept;
  /// Without slashes at its end; "/" stays.
  [[nodiscard]] static std::string_view trimmed(std::string_view path) noexcept;
  /// From the root on, without "." and superfluous slashes, so that one directory does not have two paths for the way
  /// it was asked for. Empty with an error.
  [[nodiscard]] static std::string absolute(std::string_view path, std::error_code& error);
};

}  // namespace vanto::tool

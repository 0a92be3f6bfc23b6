// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto {

/// The name in an entry of an environment; empty in an entry that has none.
[[nodiscard]] inline std::string_view nameOf(const char* entry) noexcept {
  const std::string_view text = entry;
  const std::size_t equals = text.find('=');
  return equals == std::string_view::npos ? std::string_view() : std::string_view(entry, equals);
}

/// The value in an entry that has a name.
[[nodiscard]] inline const char* valueOf(const char* entry) noexcept {
  return entry + nameOf(entry).size() + 1;
}

/// The value of the first variable called `name`, or null.
[[nodiscard]] inline const char* findValue(char* const* environment, std::string_view name) noexcept {
  for (; *environment != nullptr; environment++) {
    if (nameOf(*environment) == name) return valueOf(*environment);
  }
  return nullptr;
}

}  // namespace vanto

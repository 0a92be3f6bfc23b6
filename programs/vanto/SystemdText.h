// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto::tool {

/// Text in the places of systemd units, so that systemd gets it as it is.
struct SystemdText {
  /// In a value: each '%' doubled, since it begins a specifier.
  [[nodiscard]] static std::string value(std::string_view text);
  /// One argument of a command line, in quotes, with nothing in it that expands.
  [[nodiscard]] static std::string argument(std::string_view text);
  /// The absolute path of what a command line executes, in quotes. No variables are expanded there.
  [[nodiscard]] static std::string program(std::string_view path);
  /// Part of the name of a unit: what no name may have as `\x25`.
  [[nodiscard]] static std::string unitName(std::string_view text);
};

}  // namespace vanto::tool

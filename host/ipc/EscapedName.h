// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto {

/// The name of a service as that of a file: letters, digits, '.', '-' and '_' stand for themselves, every other byte,
/// and a dot at the beginning, is escaped. Whether it can be a service's is not asked.
[[nodiscard]] inline std::string escapedName(std::string_view name) {
  static constexpr char digits[] = "0123456789ABCDEF";
  static constexpr std::string_view others = ".-_";
  std::string file;
  for (const char character : name) {
    const bool isPlain = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                         (character >= '0' && character <= '9') || others.find(character) != others.npos;
    // Names that begin with a dot are "." and "..", and those of files that are no sockets.
    if (isPlain && !(file.empty() && character == '.')) {
      file += character;
      continue;
    }
    const auto byte = static_cast<unsigned char>(character);
    ((file += '%') += digits[byte >> 4]) += digits[byte & 15];
  }
  return file;
}

}  // namespace vanto

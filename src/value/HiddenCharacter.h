// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vanto {

/// True for a character that a reader does not see as what it is: controls, separators of lines, marks and overrides of
/// direction, and what shows nothing.
[[nodiscard]] constexpr bool isHiddenCharacter(char32_t code) noexcept {
  struct Range {
    char32_t first;
    char32_t last;
  };
  constexpr Range ranges[] = {{0x00, 0x1f},     {0x7f, 0x9f},     {0x061c, 0x061c},  {0x180e, 0x180e},
                              {0x200b, 0x200f}, {0x2028, 0x202e}, {0x2060, 0x206f},  {0xfe00, 0xfe0f},
                              {0xfeff, 0xfeff}, {0xfff9, 0xfffb}, {0xe0000, 0xe0fff}};
  for (const Range& range : ranges) {
    if (code >= range.first && code <= range.last) return true;
  }
  return false;
}

/// True for one of those that makes a whole line look other than it is: it changes the direction of text, or ends the
/// line for some readers.
[[nodiscard]] constexpr bool isMisleadingCharacter(char32_t code) noexcept {
  return isHiddenCharacter(code) &&
         ((code >= 0x7f && code <= 0x9f) || code == 0x061c || code == 0x200e || code == 0x200f ||
          (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069));
}

}  // namespace vanto

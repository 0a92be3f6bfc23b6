// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace vanto {

/// True when `text` is UTF-8 in the strict sense: no overlong forms, no surrogates, nothing above U+10FFFF, nothing cut
/// short. Empty text is.
[[nodiscard]] bool isValidUtf8(std::string_view text) noexcept;

/// How many bytes the first character of valid UTF-8 that is not empty has.
[[nodiscard]] std::size_t lengthOfFirstCharacter(std::string_view text) noexcept;

/// The number of the one character that `text`, valid UTF-8, is.
[[nodiscard]] char32_t characterIn(std::string_view text) noexcept;

}  // namespace vanto

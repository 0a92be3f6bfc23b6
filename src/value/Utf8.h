// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto {

/// True when `text` is UTF-8 in the strict sense: no overlong forms, no surrogates, nothing above U+10FFFF, nothing cut
/// short. Empty text is.
[[nodiscard]] bool isValidUtf8(std::string_view text) noexcept;

}  // namespace vanto

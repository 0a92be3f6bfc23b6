// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <VantoService/PlistValue.h>

namespace vanto::tool {

/// What a property list may have, as a bound of what is written only to set lines apart.
inline constexpr std::size_t mostIndentation = std::size_t{64} << 20;

/// True when a line for each value in `value`, with `blanks` for each container around it, would begin with more than
/// `most` blanks in all. Containers inside themselves are none of its business.
[[nodiscard]] bool indentsBeyond(Object* value, std::size_t blanks, std::size_t most = mostIndentation);

}  // namespace vanto::tool

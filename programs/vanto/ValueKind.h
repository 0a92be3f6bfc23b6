// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/Object.h>

namespace vanto::tool {

/// What a value is, with its article: "a string", "a boolean", "an integer", "a real", "an array".
[[nodiscard]] const char* kindOf(Object* value) noexcept;

}  // namespace vanto::tool

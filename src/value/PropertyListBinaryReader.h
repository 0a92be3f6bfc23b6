// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include <VantoService/PropertyList.h>

namespace vanto {

/// The value that `bytes` hold in the binary form. Null when they are anything else; `error`, if not null, then says
/// why and is otherwise untouched.
[[nodiscard]] Ref<PlistValue> createPropertyListFromBinary(std::span<const std::uint8_t> bytes,
                                                           PropertyListError* error);

}  // namespace vanto

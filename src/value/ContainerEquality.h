// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/Object.h>

namespace vanto {

/// Equality of arrays and dictionaries by their contents. It uses no stack for containers inside containers, so any
/// depth that fits into memory is compared.
struct ContainerEquality {
  /// True when both are arrays with equal elements in the same order, or both are dictionaries with equal values under
  /// equal keys. Mutable and immutable ones may be equal. Holes equal holes. `self` is an array or a dictionary.
  [[nodiscard]] static bool areEqual(const Object& self, const Object& other) noexcept;
};

}  // namespace vanto

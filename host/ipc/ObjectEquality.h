// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IPCObject.h"

namespace vanto {

/// True when both are null, or values of one kind with equal contents: doubles of the same bits, data of the same bytes
/// wherever they lie, containers element by element, without recursion. Descriptors, and what is no value, are equal
/// only to themselves.
[[nodiscard]] bool areEqual(const vanto_object* one, const vanto_object* other) noexcept;

}  // namespace vanto

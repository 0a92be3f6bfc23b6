// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sandbox/Policy.h"

namespace vanto {

/// `policy` as a profile without includes and parameters: one statement for each path, in a fixed order. It compiles to
/// a policy that allows and requires the same, and two policies that do have one text.
[[nodiscard]] std::string textOf(const Policy& policy);

}  // namespace vanto

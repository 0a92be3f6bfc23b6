// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/Receipt.h"
#include "vanto/ProfileValues.h"

namespace vanto::tool {

/// What became of a profile that was entered, as visible messages: first its level and the witness, then what is other
/// than the profile says. Paths with placeholders of `values` are left out.
[[nodiscard]] std::vector<std::string> messagesOf(const Receipt& receipt, const ProfileValues& values);

}  // namespace vanto::tool

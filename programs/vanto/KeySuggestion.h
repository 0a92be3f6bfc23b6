// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string_view>

namespace vanto::tool {

/// Which of `known` somebody meant who wrote `name`: the nearest by letters added, left out and changed, case and
/// underscores in front not counted. Empty when none is near.
[[nodiscard]] std::string_view suggestedKey(std::string_view name, std::span<const std::string_view> known);

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace vanto::tool {

/// A duration in nanoseconds for people, in its two largest units: "0.012 s", "42 s", "3 min 5 s", "2 h 1 min",
/// "12 d 3 h". Less than nothing is "0 s".
[[nodiscard]] std::string durationText(std::int64_t nanoseconds);

}  // namespace vanto::tool

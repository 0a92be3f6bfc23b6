// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include <sys/types.h>

namespace vanto {

/// When the process `pid` was started, in clock ticks since boot. With its id this names a process for good. False,
/// with `startTime` untouched, when there is no such process or it cannot be looked at.
[[nodiscard]] bool readProcessStartTime(pid_t pid, std::uint64_t& startTime) noexcept;

/// The same from the text of the process's "stat" file.
[[nodiscard]] bool parseProcessStartTime(std::string_view text, std::uint64_t& startTime) noexcept;

}  // namespace vanto

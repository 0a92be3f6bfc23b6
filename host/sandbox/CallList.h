// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vanto {

/// Leaves the calling thread, and those it makes, no system calls but those of these numbers, for a program that is
/// known call by call; all others fail with EPERM. Beside a profile, which can be entered before only. Empty, or what
/// is wrong, and then nothing has changed but that privileges are not gained by execution any more.
[[nodiscard]] std::string leaveOnlyCalls(std::span<const std::uint32_t> numbers);

}  // namespace vanto

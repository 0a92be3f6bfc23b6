// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vanto {

/// The whole program: brings the process into the documented state and executes the one argument. Comes back only if
/// that failed and was reported, with the exit status of the process.
[[nodiscard]] int runProxy(int count, char** arguments, char** environment) noexcept;

}  // namespace vanto

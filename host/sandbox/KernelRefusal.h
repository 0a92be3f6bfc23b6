// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto {

/// "WHAT: the error; what to do", for something on the way into confinement that the kernel has refused. `error` is an
/// errno value.
[[nodiscard]] std::string kernelRefusal(std::string_view what, int error);

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto {

/// The file name of the socket of the service `name`; empty when there is none, for a name that is empty, no valid
/// UTF-8, or too long for a file. Two names never share a file name, and none leads out of its directory or begins
/// with a dot.
[[nodiscard]] std::string socketFileName(std::string_view name);

}  // namespace vanto

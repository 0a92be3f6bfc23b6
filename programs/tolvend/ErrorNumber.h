// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto::manager {

/// An errno value for people: "No such file or directory (error 2)".
[[nodiscard]] std::string errorNumberText(int error);

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>
#include <string>

namespace vanto::manager {

/// "No such file or directory (error 2)", for an errno value.
[[nodiscard]] inline std::string errorText(int error) {
  const char* description = strerrordesc_np(error);
  return std::string(description != nullptr ? description : "unknown error") + " (error " + std::to_string(error) + ")";
}

}  // namespace vanto::manager

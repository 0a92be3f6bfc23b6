// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/VantoServiceBundle.h>

namespace vanto::tool {

/// What a service dictionary calls the type; "-" for none.
[[nodiscard]] constexpr const char* serviceTypeName(VantoServiceType type) noexcept {
  switch (type) {
    case VantoServiceTypeUser:
      return "User";
    case VantoServiceTypeSession:
      return "Session";
    case VantoServiceTypeSystem:
      return "System";
    default:
      return "-";
  }
}

}  // namespace vanto::tool

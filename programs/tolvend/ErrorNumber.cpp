// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ErrorNumber.h"

#include <cstring>

namespace vanto::manager {

std::string errorNumberText(int error) {
  const char* description = strerrordesc_np(error);
  return std::string(description != nullptr ? description : "unknown error") + " (error " + std::to_string(error) + ")";
}

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <fcntl.h>

#include "value/Fd.h"

namespace vanto::testing {

/// True when this process may open the file for reading, or list the directory.
inline bool canRead(const std::string& path) {
  return static_cast<bool>(Fd(open(path.c_str(), O_RDONLY | O_CLOEXEC)));
}

}  // namespace vanto::testing

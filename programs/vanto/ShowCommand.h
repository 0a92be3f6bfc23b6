// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto show`: everything about one service.
struct ShowCommand {
  /// Of its bundle or its executable.
  std::string path;
  bool isJson = false;
  /// The library's own description in place of ours.
  bool isDescription = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

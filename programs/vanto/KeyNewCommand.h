// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto key new`: makes a key and keeps it in a file for its owner alone.
struct KeyNewCommand {
  std::string name;
  /// Where to write; NAME.key when empty.
  std::string output;
  /// Whether an existing file is replaced.
  bool isForced = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

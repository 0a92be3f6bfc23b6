// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto key public`: prints the public key of a private one, or keeps it in a file, to be given to others.
struct KeyPublicCommand {
  std::string file;
  /// Where to write; printed when empty.
  std::string output;
  /// Whether an existing file is replaced.
  bool isForced = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

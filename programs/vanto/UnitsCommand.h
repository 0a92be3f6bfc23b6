// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto units`: systemd units for services, printed or written into a directory.
struct UnitsCommand {
  std::vector<std::string> bundles;
  /// Where to write; empty for the output.
  std::string directory;
  /// The user that services of the system run as.
  std::string account;
  /// The file that is executed as the proxy; empty for the one that is installed.
  std::string proxy;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

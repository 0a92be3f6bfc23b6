// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ManagerSearch.h"

namespace vanto::tool {

/// `vanto status`: how the jobs of service managers are, once or for as long as the managers run.
struct StatusCommand {
  /// Labels, or paths of bundles; all jobs where there are none.
  std::vector<std::string> labels;
  bool isJson = false;
  bool isWatching = false;
  ManagerChoice choice;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ManagerSearch.h"

namespace vanto::tool {

/// `vanto unload`, `start`, `stop`, `restart` and `hold`: one order about each of some jobs.
struct OrderCommand {
  /// The order, which is also the name of the command.
  const char* order;
  /// What is said of a job once it was carried out.
  const char* outcome;
  /// Labels, or paths of bundles.
  std::vector<std::string> labels;
  ManagerChoice choice;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ManagerSearch.h"

namespace vanto::tool {

/// `vanto load`: gives the jobs of services to service managers.
struct LoadCommand {
  /// Service bundles, places that have some, and files with jobs.
  std::vector<std::string> sources;
  /// The domain is each job's own where none is chosen.
  ManagerChoice choice;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

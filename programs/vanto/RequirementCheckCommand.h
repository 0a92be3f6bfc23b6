// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/TrustPlaces.h"

namespace vanto::tool {

/// `vanto requirement check`: whether a text is a requirement, and whether an executable or a process satisfies it.
struct RequirementCheckCommand {
  std::string text;
  /// A path or a process id; empty for the text alone.
  std::string against;
  TrustPlaces places;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

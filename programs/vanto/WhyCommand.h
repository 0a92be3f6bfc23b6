// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ManagerSearch.h"

namespace vanto::tool {

/// `vanto why`: the story of the last failure of a service, in ten lines at most; and in as many how far what runs of
/// it is confined.
struct WhyCommand {
  /// A label, or the path of a bundle.
  std::string label;
  ManagerChoice choice;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ManagerSearch.h"

namespace vanto::tool {

/// `vanto logs`: what a service has written, a line for each line.
struct LogsCommand {
  /// A label, or the path of a bundle.
  std::string label;
  /// How many of the last lines; all where none is said.
  std::optional<std::size_t> lines;
  /// Goes on with what is written later, until the manager ends.
  bool isFollowing = false;
  ManagerChoice choice;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

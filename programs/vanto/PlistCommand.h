// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "vanto/Console.h"
#include "vanto/DocumentForm.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto plist`: prints a property list for people, or converts it.
struct PlistCommand {
  std::string file = "-";
  /// None prints it.
  std::optional<DocumentForm> to;
  /// "-" is standard output.
  std::string output = "-";

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

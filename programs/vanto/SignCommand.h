// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto sign`: signs a bundle or a single executable.
struct SignCommand {
  std::string path;
  /// The file of the private key.
  std::string key;
  /// Of a single executable; empty for its file name.
  std::string identifier;
  /// A file with the entitlements, a dictionary; none when empty.
  std::string entitlements;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

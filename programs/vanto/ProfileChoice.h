// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace vanto::tool {

/// What the command line says of the values of a profile's parameters.
struct ProfileChoice {
  /// The service whose values they are; empty for none.
  std::string bundle;
  /// "NAME=VALUE" each; they win over those of the service.
  std::vector<std::string> parameters;
};

}  // namespace vanto::tool

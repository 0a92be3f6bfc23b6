// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/TrustPlaces.h"

namespace vanto::tool {

/// `vanto trust revoke`: has a key never be trusted again.
struct TrustRevokeCommand {
  /// Its name or its fingerprint.
  std::string key;
  TrustPlaces places;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/Object.h>

namespace vanto::tool {

/// What a cache entry is, compared with the bundle on disk.
struct Staleness {
  /// "changed", "damaged", "gone" or "new"; empty for an entry that is as the bundle is.
  std::string state;
  /// Visible.
  std::string reason;

  /// Of the bundle at `path` and the archive that a cache has of it, of whatever kind that is.
  [[nodiscard]] static Staleness of(const std::string& path, Object* archive);
};

}  // namespace vanto::tool

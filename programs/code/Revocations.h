// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "code/Ed25519.h"

namespace vanto::code {

/// Keys that are trusted no more: the contents of a file revoked.plist.
struct Revocations {
  std::set<PublicKey> keys;

  /// None with a reason in `problem`.
  [[nodiscard]] static std::optional<Revocations> read(std::string_view bytes, std::string& problem);
  [[nodiscard]] std::string bytes() const;
};

}  // namespace vanto::code

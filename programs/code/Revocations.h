// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "code/Digest.h"
#include "code/Ed25519.h"

namespace vanto::code {

/// Keys that are trusted no more: the contents of a file revoked.plist.
struct Revocations {
  /// Digests of public keys, as fingerprints have them, so that a key can be revoked of which no more is known; and
  /// public keys themselves, since a list of what is not to be trusted had better be understood in both ways.
  std::set<Digest> keys;

  [[nodiscard]] bool contain(const PublicKey& key) const;

  /// None with a reason in `problem`.
  [[nodiscard]] static std::optional<Revocations> read(std::string_view bytes, std::string& problem);
  [[nodiscard]] std::string bytes() const;
};

}  // namespace vanto::code

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "code/KeyDocument.h"
#include "code/Revocations.h"
#include "code/TrustDirectory.h"

namespace vanto::code {

enum class KeyStanding : std::uint8_t {
  Trusted,
  Unknown,
  Revoked,
  /// Perhaps revoked: no key is trusted, since the revoked keys of a directory are not known.
  Withheld
};

/// Whom to trust, by the directories that were added. A key is trusted that lies in one of them, or that succeeds such
/// a key by statements that lie in them. A revoked key is not, whichever directory says so, and nor is what has only it
/// as a predecessor. While it is not known which keys one of them revokes, none is trusted.
class TrustStore {
 public:
  /// A key in a directory.
  struct Entry {
    std::string directory;
    PublicKeyDocument document;
  };

  /// Adds what a directory holds. Files that are none are problems; a bad file of revoked keys is a doubt.
  void add(const TrustDirectory& directory);

  [[nodiscard]] KeyStanding standing(const PublicKey& key) const;
  /// The fingerprint of a trusted key, then the names, in ascending order, under which the directories have it and the
  /// keys that it succeeds. Empty for other keys.
  [[nodiscard]] std::vector<std::string> names(const PublicKey& key) const;

  [[nodiscard]] const std::vector<Entry>& entries() const noexcept { return entries_; }
  /// Why no key is trusted, with the path of a directory, for people; empty when that is not so.
  [[nodiscard]] const std::string& doubt() const noexcept { return doubt_; }
  [[nodiscard]] const Revocations& revoked() const noexcept { return revoked_; }
  /// What was not taken, and why, for people; each begins with a path.
  [[nodiscard]] const std::vector<std::string>& problems() const noexcept { return problems_; }

 private:
  void revoke(const TrustDirectory& directory);
  void addKeys(const TrustDirectory& directory);
  void follow();
  [[nodiscard]] std::set<PublicKey> successorsOf(const std::set<PublicKey>& keys) const;
  void shareNames();

  std::vector<Entry> entries_;
  Revocations revoked_;
  std::string doubt_;
  std::vector<std::string> problems_;
  /// The trusted keys and their names.
  std::map<PublicKey, std::set<std::string>> trusted_;
};

}  // namespace vanto::code

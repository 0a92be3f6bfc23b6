// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "code/TrustDirectory.h"
#include "code/TrustStore.h"
#include "vanto/Console.h"

namespace vanto::tool {

/// The trust directories that a command reads, and the one that it changes.
struct TrustPlaces {
  std::string system = code::TrustDirectory::systemPath();
  /// Empty for a user without a home.
  std::string user = code::TrustDirectory::userPath();
  /// Directories to be read instead.
  std::vector<std::string> instead;
  /// Whether the machine's directory is changed, not the user's.
  bool isSystem = false;

  /// What all directories hold, with a complaint for each file that is ignored.
  [[nodiscard]] code::TrustStore read(Console& console) const;
  /// The directory to change, as read; its problems are complained of.
  [[nodiscard]] code::TrustDirectory readChanged(Console& console) const;

  /// The directory to change.
  [[nodiscard]] const std::string& changed() const noexcept { return isSystem ? system : user; }
  /// Makes it where it is missing. False with a complaint.
  [[nodiscard]] bool make(Console& console) const;
  /// The path of `name` in it, with the extension of property lists.
  [[nodiscard]] std::string fileNamed(std::string_view name) const;
};

/// `name (fingerprint)`, visible; the fingerprint alone where a key has no name.
[[nodiscard]] std::string describeSigner(const std::vector<std::string>& signers, const std::string& fingerprint);

}  // namespace vanto::tool

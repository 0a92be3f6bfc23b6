// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "code/CodePlace.h"
#include "code/Seal.h"

namespace vanto::code {

/// Something that is wrong with code: a file, by its path in the bundle (empty for the code as a whole), and a reason.
struct Defect {
  std::string path;
  std::string reason;
  bool operator==(const Defect&) const = default;
};

/// What a bundle holds beside its executable, its Info file and its signature.
struct BundleFiles {
  SealedResources resources;
  /// What cannot be sealed: files of other kinds, files that cannot be read, too many of them.
  std::vector<Defect> defects;
  /// False when there are so many that the rest was not looked at.
  bool isWhole = true;

  /// Walks the bundle and digests its files; no link is followed. Service bundles in the services directory have
  /// signatures of their own and are passed over, directories as such are not recorded.
  [[nodiscard]] static BundleFiles of(const CodePlace& place);
};

}  // namespace vanto::code

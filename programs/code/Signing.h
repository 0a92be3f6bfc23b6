// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "code/BundleFiles.h"
#include "code/CodePlace.h"
#include "code/Seal.h"

namespace vanto::code {

/// What a signer says of the code beside what is read from it.
struct SealWishes {
  /// Of a single executable, whose file name counts where this is empty. A bundle has its own; another is refused.
  std::string identifier;
  /// Null for none.
  Ref<PlistDictionary> entitlements;
};

/// The seal of the code as it lies there. None, with each reason in `defects`, when a part of it cannot be sealed.
[[nodiscard]] std::optional<Seal> createSeal(const CodePlace& place, const SealWishes& wishes,
                                             std::vector<Defect>& defects);

/// The digest of the executable. None with a reason in `problem`.
[[nodiscard]] std::optional<Digest> digestOfExecutable(const CodePlace& place, std::string& problem);

}  // namespace vanto::code

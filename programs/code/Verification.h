// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "code/BundleFiles.h"
#include "code/CodePlace.h"
#include "code/TrustStore.h"

namespace vanto::code {

/// What became of looking at everything that a signature is about.
struct VerifyResult {
  /// One for each thing that is wrong; valid when empty.
  std::vector<Defect> defects;
  /// What the signature says, when it is by the key that it names; believed only without defects.
  std::string identifier;
  std::string fingerprint;
  /// The fingerprint and the names of a trusted signer.
  std::vector<std::string> signers;
  Ref<PlistDictionary> entitlements;

  [[nodiscard]] bool isValid() const noexcept { return defects.empty(); }
};

[[nodiscard]] VerifyResult verifyCode(const CodePlace& place, const TrustStore& trust);

}  // namespace vanto::code

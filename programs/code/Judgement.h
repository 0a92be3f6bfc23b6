// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "code/SignatureFile.h"
#include "code/TrustStore.h"

namespace vanto::code {

/// What was found of an executable, as bytes; nothing is opened to judge it.
struct CodeEvidence {
  /// The contents of the signature file; none when there is none.
  std::optional<std::string_view> signature;
  /// File name of the executable, and its digest; none when it could not be had.
  std::string_view executableName;
  std::optional<Digest> executable;
  /// The contents of the Info file and the identifier in it; none for a single executable.
  std::optional<std::string_view> info;
  std::string_view identifier;
};

/// What is to be believed of code.
struct CodeJudgement {
  /// Signed by a trusted key, and unchanged in executable and Info file. Everything below but the reason is empty
  /// otherwise, since anybody could have written it.
  bool isValid = false;
  /// Why it is not valid.
  std::string reason;
  std::string identifier;
  std::string fingerprint;
  /// The fingerprint, then the names under which the signer is trusted.
  std::vector<std::string> signers;
  /// Null unless valid.
  Ref<PlistDictionary> entitlements;
};

[[nodiscard]] CodeJudgement judge(const CodeEvidence& evidence, const TrustStore& trust);

/// What is wrong with the executable and the Info file, for a seal that is believed: a text each.
[[nodiscard]] std::vector<std::string> differencesFrom(const Seal& seal, const CodeEvidence& evidence);

/// Why a key is not trusted, for people. Empty when it is.
[[nodiscard]] std::string distrustOf(const PublicKey& key, const TrustStore& trust);

}  // namespace vanto::code

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "code/Ed25519.h"
#include "code/Seal.h"

namespace vanto::code {

/// A seal with the signature over it: the contents of a file Signature.plist.
struct SignatureFile {
  Seal seal;
  PublicKey key{};

  /// None with a reason in `problem` when the bytes are no signature, or not by the key that they name. The seal is not
  /// looked at before. Whether the key is to be trusted is another question.
  [[nodiscard]] static std::optional<SignatureFile> read(std::string_view bytes, std::string& problem);
};

/// The bytes of a signature file: `seal` signed with the key. None with a reason in `problem`, also when there would be
/// more than a signature file may have.
[[nodiscard]] std::optional<std::string> createSignature(const Seal& seal, const KeyPair& keys, std::string& problem);

}  // namespace vanto::code

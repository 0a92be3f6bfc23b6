// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <VantoService/PlistDictionary.h>

namespace vanto {

/// What is known of the code of a process. For code that is not valid, only the digest and the reason say anything.
struct CodeFacts {
  /// Whether the code is signed by a key that is trusted, and is what was signed.
  bool isValid = false;
  std::string identifier;
  /// SHA-256 of the executable, in 64 lower-case hexadecimal digits; known for unsigned code too.
  std::string digestHex;
  /// The fingerprint of the signer's key, and the names by which this machine knows it.
  std::vector<std::string> signerNames;
  /// Null when the signature has none.
  Ref<PlistDictionary> entitlements;
  /// Why the code is not valid, for people.
  std::string reason;
  /// Which file the executable is.
  std::int64_t device = 0;
  std::int64_t inode = 0;
};

}  // namespace vanto

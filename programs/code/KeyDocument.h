// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "code/Ed25519.h"

namespace vanto::code {

/// A private key with its name, as its owner keeps it in a file.
struct PrivateKeyDocument {
  KeyPair keys;
  std::string name;

  /// None with a reason in `problem`, also when the two keys do not belong together.
  [[nodiscard]] static std::optional<PrivateKeyDocument> read(std::string_view bytes, std::string& problem);
  /// The file at `path`, which belongs to this user (root may read that of anybody) and is for its owner alone. The
  /// reason names the file.
  [[nodiscard]] static std::optional<PrivateKeyDocument> readFile(const std::string& path, std::string& problem);
  [[nodiscard]] std::string bytes() const;
};

/// What the owner of a key said when another took its place.
struct Succession {
  PublicKey predecessor{};
  /// By the predecessor, over the bytes of successionMessage().
  SignatureBytes signature{};
};

[[nodiscard]] std::string successionMessage(const PublicKey& successor);

/// A public key with its name, alone or with the statement that it succeeds another.
struct PublicKeyDocument {
  PublicKey key{};
  std::string name;
  std::optional<Succession> succession;

  /// None with a reason in `problem`, also when the predecessor did not sign the statement.
  [[nodiscard]] static std::optional<PublicKeyDocument> read(std::string_view bytes, std::string& problem);
  [[nodiscard]] std::string bytes() const;
};

}  // namespace vanto::code

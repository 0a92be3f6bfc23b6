// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vanto::code {

// Ed25519 keys and signatures.

using PublicKey = std::array<std::uint8_t, 32>;
using PrivateSeed = std::array<std::uint8_t, 32>;
using SignatureBytes = std::array<std::uint8_t, 64>;

struct KeyPair {
  PrivateSeed seed;
  PublicKey publicKey;
};

/// A new pair from the system's randomness; none when the cryptographic library fails.
[[nodiscard]] std::optional<KeyPair> createKeyPair();

/// The public key that belongs to `seed`; none when the cryptographic library fails.
[[nodiscard]] std::optional<PublicKey> publicKeyOf(const PrivateSeed& seed);

/// None when the cryptographic library fails.
[[nodiscard]] std::optional<SignatureBytes> signMessage(const PrivateSeed& seed, std::string_view message);

[[nodiscard]] bool isSignedBy(const PublicKey& key, std::string_view message, const SignatureBytes& signature);

/// What people and requirement texts call a key by: the digest of its bytes, in lower-case hexadecimal digits. Empty
/// when the cryptographic library fails.
[[nodiscard]] std::string fingerprint(const PublicKey& key);

}  // namespace vanto::code

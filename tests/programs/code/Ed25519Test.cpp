// SPDX-License-Identifier: Apache-2.0
#include "code/Ed25519.h"

#include <gtest/gtest.h>

namespace vanto::code {
namespace {

/// The first test vector of RFC 8032.
constexpr PrivateSeed seed{0x9d, 0x61, 0xb1, 0x9d, 0xef, 0xfd, 0x5a, 0x60, 0xba, 0x84, 0x4a,
                           0xf4, 0x92, 0xec, 0x2c, 0xc4, 0x44, 0x49, 0xc5, 0x69, 0x7b, 0x32,
                           0x69, 0x19, 0x70, 0x3b, 0xac, 0x03, 0x1c, 0xae, 0x7f, 0x60};
constexpr PublicKey key{0xd7, 0x5a, 0x98, 0x01, 0x82, 0xb1, 0x0a, 0xb7, 0xd5, 0x4b, 0xfe, 0xd3, 0xc9, 0x64, 0x07, 0x3a,
                        0x0e, 0xe1, 0x72, 0xf3, 0xda, 0xa6, 0x23, 0x25, 0xaf, 0x02, 0x1a, 0x68, 0xf7, 0x07, 0x51, 0x1a};

TEST(Ed25519, SignsAsTheStandardHasIt) {
  EXPECT_EQ(publicKeyOf(seed), key);
  const SignatureBytes signature = signMessage(seed, "").value();
  EXPECT_EQ(signature[0], 0xe5);
  EXPECT_EQ(signature[1], 0x56);
  EXPECT_EQ(signature[63], 0x0b);
  EXPECT_TRUE(isSignedBy(key, "", signature));
}

TEST(Ed25519, RefusesAnotherMessageAnotherKeyAndEachBitThatIsTurned) {
  const SignatureBytes signature = signMessage(seed, "message").value();
  EXPECT_TRUE(isSignedBy(key, "message", signature));
  EXPECT_FALSE(isSignedBy(key, "message ", signature));
  EXPECT_FALSE(isSignedBy(createKeyPair().value().publicKey, "message", signature));
  for (std::size_t bit = 0; bit < signature.size() * 8; ++bit) {
    SignatureBytes changed = signature;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_FALSE(isSignedBy(key, "message", changed)) << bit;
  }
}

TEST(Ed25519, MakesPairsThatBelongTogetherAndDiffer) {
  const KeyPair one = createKeyPair().value();
  const KeyPair other = createKeyPair().value();
  EXPECT_EQ(publicKeyOf(one.seed), one.publicKey);
  EXPECT_NE(one.seed, other.seed);
}

TEST(Ed25519, CallsAKeyByItsDigest) {
  EXPECT_EQ(fingerprint(key), "21fe31dfa154a261626bf854046fd2271b7bed4b6abe45aa58877ef47f9721b9");
}

}  // namespace
}  // namespace vanto::code

// SPDX-License-Identifier: Apache-2.0
#include "code/Ed25519.h"

#include <memory>

#include <openssl/evp.h>

#include "code/Cryptography.h"
#include "code/Digest.h"

namespace vanto::code {
namespace {

struct FreeKey {
  void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
};
struct FreeContext {
  void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, FreeKey>;
using Context = std::unique_ptr<EVP_MD_CTX, FreeContext>;

Key keyOfSeed(const PrivateSeed& seed) {
  prepareCryptography();
  return Key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, seed.data(), seed.size()));
}

std::optional<PublicKey> publicKeyOf(const Key& key) {
  PublicKey bytes;
  std::size_t length = bytes.size();
  if (!key || EVP_PKEY_get_raw_public_key(key.get(), bytes.data(), &length) != 1 || length != bytes.size()) {
    return std::nullopt;
  }
  return bytes;
}

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::optional<KeyPair> createKeyPair() {
  prepareCryptography();
  const Key key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
  const std::optional<PublicKey> publicKey = publicKeyOf(key);
  KeyPair pair;
  std::size_t length = pair.seed.size();
  if (!publicKey || EVP_PKEY_get_raw_private_key(key.get(), pair.seed.data(), &length) != 1) return std::nullopt;
  pair.publicKey = *publicKey;
  return pair;
}

std::optional<PublicKey> publicKeyOf(const PrivateSeed& seed) {
  return publicKeyOf(keyOfSeed(seed));
}

std::optional<SignatureBytes> signMessage(const PrivateSeed& seed, std::string_view message) {
  const Key key = keyOfSeed(seed);
  const Context context(EVP_MD_CTX_new());
  SignatureBytes signature;
  std::size_t length = signature.size();
  const bool isSigned = key && context &&
                        EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
                        EVP_DigestSign(context.get(), signature.data(), &length, bytesOf(message), message.size()) == 1;
  if (!isSigned || length != signature.size()) return std::nullopt;
  return signature;
}

bool isSignedBy(const PublicKey& key, std::string_view message, const SignatureBytes& signature) {
  prepareCryptography();
  const Key publicKey(EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, key.data(), key.size()));
  const Context context(EVP_MD_CTX_new());
  return publicKey && context && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, publicKey.get()) == 1 &&
         EVP_DigestVerify(context.get(), signature.data(), signature.size(), bytesOf(message), message.size()) == 1;
}

std::string fingerprint(const PublicKey& key) {
  const std::optional<Digest> digest = digestOf({reinterpret_cast<const char*>(key.data()), key.size()});
  return digest ? hexText(*digest) : std::string();
}

}  // namespace vanto::code

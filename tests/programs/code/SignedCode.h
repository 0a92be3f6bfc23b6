// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "code/CodePlace.h"
#include "code/KeyDocument.h"
#include "code/SignatureFile.h"
#include "code/Signing.h"
#include "code/TrustStore.h"
#include "support/BundleBuilder.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {

inline std::string contentsOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void writeContents(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// The same pair for the same number.
inline code::KeyPair keyPair(std::uint8_t number) {
  code::KeyPair pair;
  pair.seed.fill(number);
  pair.publicKey = code::publicKeyOf(pair.seed).value();
  return pair;
}

inline code::TrustDirectory::File keyFile(const std::string& name, const code::KeyPair& pair) {
  return {name, code::PublicKeyDocument{pair.publicKey, name, {}}.bytes()};
}

/// A statement by `predecessor`.
inline code::TrustDirectory::File successorFile(const std::string& name, const code::KeyPair& pair,
                                                const code::KeyPair& predecessor) {
  const auto signature = code::signMessage(predecessor.seed, code::successionMessage(pair.publicKey)).value();
  return {name,
          code::PublicKeyDocument{pair.publicKey, name, code::Succession{predecessor.publicKey, signature}}.bytes()};
}

inline code::TrustStore storeOf(std::vector<code::TrustDirectory::File> files,
                                std::optional<std::string> revocations = {}) {
  code::TrustStore store;
  store.add({"/trust", std::move(files), std::move(revocations), {}, true});
  return store;
}

/// Tests with a bundle and a single executable, and a key that is trusted as "acme".
class SignedCode : public ::testing::Test {
 protected:
  SignedCode() : builder_(directory_.path(), "A.vanto") {
    builder_.identifier("org.example.a").executable("a", "program").service().resource("r.txt", "text");
    builder_.build();
    writeContents(single_, "program");
  }

  /// Signs what lies at the path.
  void sign(const std::string& path, const code::KeyPair& keys) const {
    const code::CodePlace place = placeAt(path);
    std::vector<code::Defect> defects;
    std::string problem;
    const auto seal = code::createSeal(place, {"", nullptr}, defects);
    ASSERT_TRUE(seal) << (defects.empty() ? "" : defects.front().reason);
    const auto bytes = code::createSignature(*seal, keys, problem);
    ASSERT_TRUE(bytes) << problem;
    writeContents(place.pathOf(place.signature), *bytes);
  }

  [[nodiscard]] static code::CodePlace placeAt(const std::string& path) {
    std::string problem;
    auto place = code::CodePlace::ofPath(path, problem);
    EXPECT_TRUE(place) << problem;
    return place ? std::move(*place) : code::CodePlace{};
  }

  const TemporaryScope scope_;
  const test::TemporaryDirectory directory_;
  test::BundleBuilder builder_;
  const std::string bundle_ = directory_ / "A.vanto";
  const std::string single_ = directory_ / "single";
  const code::KeyPair acme_ = keyPair(1);
  const code::TrustStore trust_ = storeOf({keyFile("acme", acme_)});
};

}  // namespace vanto::testing

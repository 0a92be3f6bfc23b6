// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "code/CodePlace.h"
#include "code/KeyDocument.h"
#include "code/SignatureFile.h"
#include "code/Signing.h"
#include "code/TrustStore.h"

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
  store.add({"/trust", std::move(files), std::move(revocations), {}, true, {}});
  return store;
}

/// Signs what lies at the path. An empty identifier stands for that which it has.
inline void signFile(const std::string& path, const code::KeyPair& keys, const std::string& identifier = "",
                     const Ref<PlistDictionary>& entitlements = nullptr) {
  std::string problem;
  const auto place = code::CodePlace::ofPath(path, problem);
  ASSERT_TRUE(place) << problem;
  std::vector<code::Defect> defects;
  const auto seal = code::createSeal(*place, {identifier, entitlements}, defects);
  ASSERT_TRUE(seal) << (defects.empty() ? "" : defects.front().reason);
  const auto bytes = code::createSignature(*seal, keys, problem);
  ASSERT_TRUE(bytes) << problem;
  writeContents(place->pathOf(place->signature), *bytes);
}

}  // namespace vanto::testing

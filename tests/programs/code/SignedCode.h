// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "programs/code/SignedFiles.h"
#include "support/BundleBuilder.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {

/// Tests with a bundle and a single executable, and a key that is trusted as "acme".
class SignedCode : public ::testing::Test {
 protected:
  SignedCode() : builder_(directory_.path(), "A.vanto") {
    builder_.identifier("org.example.a").executable("a", "program").service().resource("r.txt", "text");
    builder_.build();
    writeContents(single_, "program");
  }

  static void sign(const std::string& path, const code::KeyPair& keys) { signFile(path, keys); }

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

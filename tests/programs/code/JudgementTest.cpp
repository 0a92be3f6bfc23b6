// SPDX-License-Identifier: Apache-2.0
#include "code/Judgement.h"

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

using testing::keyPair;

class JudgementTest : public testing::SignedCode {
 protected:
  JudgementTest() {
    sign(bundle_, acme_);
    sign(single_, acme_);
    info_ = testing::contentsOf(builder_.infoPath());
    ofBundle_ = testing::contentsOf(bundle_ + "/Contents/Signature.plist");
    ofSingle_ = testing::contentsOf(single_ + ".Signature.plist");
    bundleEvidence_ = {ofBundle_, "a", digestOf("program"), info_, "org.example.a"};
    singleEvidence_ = {ofSingle_, "single", digestOf("program"), std::nullopt, {}};
  }

  [[nodiscard]] std::string reason(const CodeEvidence& evidence) const {
    const CodeJudgement judgement = judge(evidence, trust_);
    EXPECT_FALSE(judgement.isValid);
    EXPECT_EQ(judgement.identifier + judgement.fingerprint, "");
    EXPECT_TRUE(judgement.signers.empty());
    EXPECT_FALSE(judgement.entitlements);
    return judgement.reason;
  }

  std::string info_;
  std::string ofBundle_;
  std::string ofSingle_;
  CodeEvidence bundleEvidence_;
  CodeEvidence singleEvidence_;
};

TEST_F(JudgementTest, BelievesWhatATrustedKeySigned) {
  const CodeJudgement judgement = judge(bundleEvidence_, trust_);
  EXPECT_TRUE(judgement.isValid) << judgement.reason;
  EXPECT_EQ(judgement.identifier, "org.example.a");
  EXPECT_EQ(judgement.fingerprint, fingerprint(acme_.publicKey));
  EXPECT_EQ(judgement.signers, (std::vector<std::string>{fingerprint(acme_.publicKey), "acme"}));
  EXPECT_EQ(judgement.entitlements->count(), 0U);
  EXPECT_TRUE(judge(singleEvidence_, trust_).isValid);
}

TEST_F(JudgementTest, TellsWhyNot) {
  CodeEvidence evidence = bundleEvidence_;
  evidence.executable = digestOf("other");
  EXPECT_EQ(reason(evidence), "the executable was changed");
  evidence = bundleEvidence_;
  evidence.executable = std::nullopt;
  EXPECT_EQ(reason(evidence), "the executable cannot be read");
  evidence = bundleEvidence_;
  evidence.executableName = "b";
  EXPECT_EQ(reason(evidence), "the executable was renamed");
  evidence = bundleEvidence_;
  evidence.info = "x";
  EXPECT_EQ(reason(evidence), "the Info dictionary was changed");
  evidence = bundleEvidence_;
  evidence.identifier = "org.other";
  EXPECT_EQ(reason(evidence), "the identifier is not the signed one");
  evidence = bundleEvidence_;
  evidence.signature = std::nullopt;
  EXPECT_EQ(reason(evidence), "it is not signed");
  evidence.signature = "damaged";
  EXPECT_TRUE(reason(evidence).starts_with("the signature is no property list")) << reason(evidence);
}

TEST_F(JudgementTest, KeepsBundlesAndSingleExecutablesApart) {
  CodeEvidence evidence = singleEvidence_;
  evidence.info = info_;
  EXPECT_EQ(reason(evidence), "the signature is that of a single executable, and this is a bundle");
  evidence = bundleEvidence_;
  evidence.info = std::nullopt;
  EXPECT_EQ(reason(evidence), "the signature is that of a bundle, and this is a single executable");
}

TEST_F(JudgementTest, AsksWhomToTrust) {
  const std::string key = "the key " + fingerprint(acme_.publicKey);
  EXPECT_EQ(judge(bundleEvidence_, TrustStore()).reason, key + " is not trusted");
  const TrustStore revoked =
      testing::storeOf({testing::keyFile("acme", acme_)}, Revocations{{acme_.publicKey}}.bytes());
  EXPECT_EQ(judge(bundleEvidence_, revoked).reason, key + " is revoked");
  EXPECT_FALSE(judge(bundleEvidence_, revoked).isValid);
  EXPECT_EQ(distrustOf(acme_.publicKey, trust_), "");
  TrustStore doubted = trust_;
  doubted.add({"/other", {}, {}, {}, false, "is bad"});
  EXPECT_EQ(judge(bundleEvidence_, doubted).reason,
            "no key is trusted while it is not known which are revoked: /other: is bad");
  EXPECT_FALSE(judge(bundleEvidence_, doubted).isValid);
}

}  // namespace
}  // namespace vanto::code

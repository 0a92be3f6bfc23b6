// SPDX-License-Identifier: Apache-2.0
#include "vanto/Identity.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

class IdentityTest : public testing::CodeFixture {};

TEST_F(IdentityTest, OfAFileIsWhatTheLibraryTakesForCode) {
  sign(single_, acme_);
  std::string problem;
  const auto identity = Identity::of(
      single_, [this] { return trust_; }, problem);
  ASSERT_TRUE(identity) << problem;
  EXPECT_TRUE(identity->judgement.isValid);
  const vanto_object_t code = identity->createCode();
  const vanto_object_t findings = vanto_code_check_requirement(code, "identifier \"single\" and signer \"acme\"");
  EXPECT_TRUE(vanto_bool_get_value(vanto_dictionary_get_value(findings, "satisfied")));
  vanto_release(findings);
  vanto_release(code);
}

TEST_F(IdentityTest, OfAProcessNeedsOneAndTheCodeSigningService) {
  std::string problem;
  EXPECT_FALSE(Identity::of(
      "0", [this] { return trust_; }, problem));
  EXPECT_EQ(problem, "0: is no process id");
  setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
  EXPECT_FALSE(Identity::of(
      std::to_string(getpid()), [this] { return trust_; }, problem));
  EXPECT_NE(problem.find("the code-signing service does not tell: "), problem.npos) << problem;
}

}  // namespace
}  // namespace vanto::tool

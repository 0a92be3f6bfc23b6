// SPDX-License-Identifier: Apache-2.0
#include "programs/vanto/LintRun.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using vanto::testing::Lines;

class LintAllowedClients : public vanto::testing::LintRun {};

TEST_F(LintAllowedClients, AreFineAsTexts) {
  EXPECT_EQ(foundWithEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")})), Lines{});
}

TEST_F(LintAllowedClients, FindsThatTheyLetEverybodyIn) {
  EXPECT_EQ(foundWithEntry("_AllowedClients", BundleBuilder::string("valid")),
            Lines{"VantoService._AllowedClients: error: is a string, so every client is let in; write an array of "
                  "requirement texts"});
  EXPECT_EQ(
      foundWithEntry("_AllowedClients", "<array/>"),
      Lines{"VantoService._AllowedClients: warning: is empty, so every client is let in; list who may connect, or "
            "remove the key to say that all may"});
}

TEST_F(LintAllowedClients, FindsElementsThatAreNoRequirements) {
  EXPECT_EQ(
      foundWithEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid"), "<true/>", "<string/>"})),
      (Lines{"VantoService._AllowedClients[1]: error: is a boolean, so clients that meet none of those before are "
             "refused here; write a requirement text",
             "VantoService._AllowedClients[2]: error: is empty, which is no requirement; write a requirement text, "
             "or remove the element"}));
}

}  // namespace
}  // namespace vanto::tool

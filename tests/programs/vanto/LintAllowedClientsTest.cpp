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
             "VantoService._AllowedClients[2]: error: is no requirement: column 1 (line 1): the text ends where a "
             "condition is expected; write one, such as valid or identifier \"org.example.client\""}));
}

TEST_F(LintAllowedClients, SaysWhereATextStopsBeingARequirement) {
  EXPECT_EQ(foundWithEntry("_AllowedClients",
                           BundleBuilder::array({BundleBuilder::string("identifier \"a; b\" and\n signers \"acme\"")})),
            Lines{"VantoService._AllowedClients[0]: error: is no requirement: column 2 (line 2): there is no word "
                  "'signers'; use identifier, signer, digest, entitlement or valid, and join them with and, or and "
                  "not"});
}

TEST_F(LintAllowedClients, WarnsOfMoreThanAClientIsTriedOn) {
  const auto found = [&](std::size_t count) {
    return foundWithEntry("_AllowedClients",
                          BundleBuilder::array(std::vector<std::string>(count, BundleBuilder::string("valid"))));
  };
  EXPECT_EQ(found(16'383), Lines{});
  EXPECT_EQ(found(16'384), Lines{"VantoService._AllowedClients: warning: has 16384 requirements, and a client is tried "
                                 "on 16383 at most; join several with or"});
}

}  // namespace
}  // namespace vanto::tool

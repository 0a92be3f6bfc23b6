// SPDX-License-Identifier: Apache-2.0
#include "signing/CodeDictionary.h"

#include <gtest/gtest.h>

#include "host/signing/CodeServiceStub.h"
#include "signing/RequirementCache.h"

namespace vanto::test {
namespace {

TEST(CodeDictionary, HoldsWhatAReplyHolds) {
  const CodeReply reply = decodeCodeReply(replyOfValidCode());
  const CodeFacts facts = validFacts();
  ASSERT_EQ(reply.status, 0) << reply.reason;
  EXPECT_TRUE(reply.facts.isValid);
  EXPECT_EQ(reply.facts.identifier, facts.identifier);
  EXPECT_EQ(reply.facts.digestHex, facts.digestHex);
  EXPECT_EQ(reply.facts.signerNames, facts.signerNames);
  EXPECT_TRUE(reply.facts.entitlements->isEqual(facts.entitlements.get()));
  EXPECT_EQ(reply.facts.device, 7);
  EXPECT_EQ(reply.facts.inode, 8);
}

TEST(CodeDictionary, HoldsNothingThatInvalidCodeSaysOfItself) {
  const Held dictionary = replyOf(invalidFacts());
  for (const char* key : {"identifier", "fingerprint", "signers", "entitlements"}) {
    EXPECT_EQ(vanto_dictionary_get_value(dictionary, key), nullptr) << key;
  }
  EXPECT_EQ(decodeCodeReply(dictionary).facts.reason, invalidFacts().reason);
}

TEST(CodeDictionary, HasNoDataForCodeWithoutEntitlements) {
  EXPECT_EQ(createEntitlementsData(bareFacts()), nullptr);
  EXPECT_FALSE(decodeCodeReply(replyOf(bareFacts())).facts.entitlements);
}

TEST(CodeDictionary, TellsWhichConditionsHold) {
  const auto requirement = RequirementCache::shared().requirementFor(R"(signer "Vanto" and not identifier "a")");
  const Held findings(createFindings(*requirement, validFacts()));
  EXPECT_TRUE(vanto_bool_get_value(vanto_dictionary_get_value(findings, "satisfied")));
  const vanto_object_t terms = vanto_dictionary_get_value(findings, "terms");
  ASSERT_EQ(vanto_array_get_count(terms), 2U);
  const vanto_object_t first = vanto_array_get_value(terms, 0);
  const vanto_object_t second = vanto_array_get_value(terms, 1);
  EXPECT_STREQ(vanto_string_get_text(vanto_dictionary_get_value(first, "text")), "signer \"Vanto\"");
  EXPECT_TRUE(vanto_bool_get_value(vanto_dictionary_get_value(first, "holds")));
  EXPECT_STREQ(vanto_string_get_text(vanto_dictionary_get_value(second, "text")), "identifier \"a\"");
  EXPECT_FALSE(vanto_bool_get_value(vanto_dictionary_get_value(second, "holds")));
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "signing/Requirement.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/signing/SampleFacts.h"
#include "signing/RequirementParser.h"

namespace vanto::testing {
namespace {

/// One digit for each sample of facts: valid code, the same code not valid, valid code with nothing to its name, and a
/// process of which nothing is known.
std::string verdicts(std::string_view text) {
  RequirementError error;
  const auto requirement = compileRequirement(text, &error);
  if (!requirement) return error.text();
  std::string result;
  for (const CodeFacts& facts : {test::validFacts(), test::invalidFacts(), test::bareFacts(), CodeFacts{}}) {
    result += requirement->isSatisfiedBy(facts) ? '1' : '0';
  }
  return result;
}

struct Row {
  std::string text;
  std::string verdicts;
};

void expectVerdicts(const std::vector<Row>& rows) {
  for (const Row& row : rows) EXPECT_EQ(verdicts(row.text), row.verdicts) << row.text;
}

TEST(Requirement, AsksForOneFact) {
  expectVerdicts({
      {"valid", "1010"},
      {"identifier \"org.vanto.client\"", "1000"},
      {"identifier \"org.vanto.other\"", "0010"},
      {"identifier \"org.vanto\"", "0000"},
      {"identifier \"org.vanto.client.more\"", "0000"},
      {"identifier \"org.vanto.*\"", "0000"},
      {"identifier \"Org.vanto.client\"", "0000"},
      {"signer \"Vanto\"", "1000"},
      {"signer \"V\u00e4nto\"", "1000"},
      {"signer \"vanto\"", "0000"},
      {"signer \"Vant\"", "0000"},
      {"signer \"" + std::string(64, 'f') + "\"", "1000"},
      {"signer \"" + std::string(64, 'F') + "\"", "1000"},
      {"signer \"" + std::string(63, 'f') + "\"", "0000"},
      {"signer \"" + std::string(64, 'e') + "\"", "0010"},
      {"digest \"" + std::string(64, 'a') + "\"", "1100"},
      {"digest \"" + std::string(64, 'A') + "\"", "1100"},
      {"digest \"" + std::string(64, 'b') + "\"", "0010"},
      {"digest \"" + std::string(64, 'c') + "\"", "0000"},
  });
}

TEST(Requirement, AsksForEntitlements) {
  expectVerdicts({
      {"entitlement \"yes\"", "1000"},
      {"entitlement \"no\"", "0000"},
      {"entitlement \"none\"", "0000"},
      {"entitlement \"zero\"", "1000"},
      {"entitlement \"empty\"", "1000"},
      {"entitlement \"list\"", "1000"},
      {"entitlement \"yes\" exists", "1000"},
      {"entitlement \"no\" exists", "1000"},
      {"entitlement \"none\" exists", "0000"},
  });
}

TEST(Requirement, ComparesEntitlementsByKindAndValue) {
  expectVerdicts({
      {"entitlement \"yes\" = true", "1000"},
      {"entitlement \"yes\" = false", "0000"},
      {"entitlement \"no\" = false", "1000"},
      {"entitlement \"none\" = false", "0000"},
      {"entitlement \"yes\" = 1", "0000"},
      {"entitlement \"yes\" = \"true\"", "0000"},
      {"entitlement \"zero\" = false", "0000"},
      {"entitlement \"three\" = 3", "1000"},
      {"entitlement \"three\" = 3.0", "1000"},
      {"entitlement \"three\" = 003", "1000"},
      {"entitlement \"three\" = 4", "0000"},
      {"entitlement \"three\" = \"3\"", "0000"},
      {"entitlement \"zero\" = 0", "1000"},
      {"entitlement \"zero\" = -0", "1000"},
      {"entitlement \"half\" = -0.5", "1000"},
      {"entitlement \"half\" = 0.5", "0000"},
      {"entitlement \"half\" = 0", "0000"},
      {"entitlement \"smallest\" = -9223372036854775808", "1000"},
      {"entitlement \"smallest\" = -9223372036854775807", "0000"},
      {"entitlement \"smallest\" = -9223372036854775808.0", "1000"},
      {"entitlement \"text\" = \"a \\\"b\\\" \\\\c\"", "1000"},
      {"entitlement \"text\" = \"a\"", "0000"},
      {"entitlement \"empty\" = \"\"", "1000"},
      {"entitlement \"none\" = \"\"", "0000"},
      {"entitlement \"list\" = true", "0000"},
  });
}

TEST(Requirement, JoinsConditions) {
  expectVerdicts({
      {"valid and signer \"Vanto\"", "1000"},
      {"signer \"Vanto\" and valid", "1000"},
      {"valid and signer \"Nobody\"", "0000"},
      {"signer \"Nobody\" or valid", "1010"},
      {"signer \"Nobody\" or identifier \"no\"", "0000"},
      {"not valid", "0101"},
      {"not not valid", "1010"},
      {"not not not valid", "0101"},
      {"not (valid and signer \"Vanto\")", "0111"},
      {"not identifier \"org.vanto.client\"", "0111"},
      {"not entitlement \"yes\"", "0111"},
  });
}

TEST(Requirement, BindsNotMoreThanAndMoreThanOr) {
  const std::string no = "signer \"Nobody\"";
  const std::string yes = "valid";
  expectVerdicts({
      {yes + " or " + yes + " and " + no, "1010"},
      {"(" + yes + " or " + yes + ") and " + no, "0000"},
      {no + " and " + yes + " or " + yes, "1010"},
      {no + " and (" + yes + " or " + yes + ")", "0000"},
      {"not " + no + " and " + no, "0000"},
      {"not (" + no + " and " + no + ")", "1111"},
      {"not " + yes + " or " + yes, "1111"},
      {"not (" + yes + " or " + yes + ")", "0101"},
      {no + " or " + no + " or " + yes, "1010"},
      {yes + " and " + yes + " and " + no, "0000"},
      {yes + " and not " + no + " and " + yes, "1010"},
      {no + " or " + yes + " and (" + no + " or not (" + no + " or " + no + "))", "1010"},
  });
}

TEST(Requirement, TakesEveryCombinationOfTruthAlike) {
  // Each of three conditions true or false, in every shape of two joins.
  for (unsigned bits = 0; bits < 8; ++bits) {
    const auto value = [bits](unsigned index) {
      return (bits >> index & 1) != 0;
    };
    const auto term = [&value](unsigned index) {
      return std::string(value(index) ? "valid" : "not valid");
    };
    for (const bool firstIsAnd : {false, true}) {
      for (const bool secondIsAnd : {false, true}) {
        const auto join = [](bool isAnd, bool left, bool right) {
          return isAnd ? left && right : left || right;
        };
        const auto word = [](bool isAnd) {
          return std::string(isAnd ? " and " : " or ");
        };
        const bool left = join(secondIsAnd, join(firstIsAnd, value(0), value(1)), value(2));
        const bool right = join(firstIsAnd, value(0), join(secondIsAnd, value(1), value(2)));
        const std::string first = word(firstIsAnd);
        const std::string second = word(secondIsAnd);
        const bool plain = !firstIsAnd && secondIsAnd ? right : left;
        EXPECT_EQ(verdicts(term(0) + first + term(1) + second + term(2))[0], plain ? '1' : '0') << bits;
        EXPECT_EQ(verdicts("(" + term(0) + first + term(1) + ")" + second + term(2))[0], left ? '1' : '0') << bits;
        EXPECT_EQ(verdicts(term(0) + first + "(" + term(1) + second + term(2) + ")")[0], right ? '1' : '0') << bits;
      }
    }
  }
}

TEST(Requirement, OfUnsignedCodeOnlyTheDigestAndWhatIsDeniedHold) {
  CodeFacts facts = test::invalidFacts();
  for (const char* text : {"valid", "identifier \"org.vanto.client\"", "signer \"Vanto\"", "entitlement \"yes\"",
                           "entitlement \"yes\" exists", "entitlement \"yes\" = true"}) {
    const auto requirement = compileRequirement(text);
    ASSERT_TRUE(requirement) << text;
    facts.isValid = false;
    EXPECT_FALSE(requirement->isSatisfiedBy(facts)) << text;
    facts.isValid = true;
    EXPECT_TRUE(requirement->isSatisfiedBy(facts)) << text;
  }
}

TEST(Requirement, ALongChainTakesNoMoreRoomThanAShortOne) {
  std::string text = "valid";
  while (text.size() + 20 < std::size_t{64} << 10) text += " or valid and valid";
  EXPECT_EQ(verdicts(text), "1010");
}

}  // namespace
}  // namespace vanto::testing

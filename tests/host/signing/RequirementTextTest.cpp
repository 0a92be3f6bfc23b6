// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "signing/Requirement.h"
#include "signing/RequirementParser.h"

namespace vanto::testing {
namespace {

std::string printed(std::string_view text) {
  const auto requirement = compileRequirement(text);
  return requirement ? requirement->text() : "refused";
}

TEST(RequirementText, IsTheSourceInOneForm) {
  for (const char* text : {"valid",
                           "identifier \"a\"",
                           "signer \"A b\"",
                           "entitlement \"k\"",
                           "entitlement \"k\" exists",
                           "entitlement \"k\" = true",
                           "entitlement \"k\" = false",
                           "entitlement \"k\" = -12",
                           "entitlement \"k\" = 0.5",
                           "entitlement \"k\" = 2.0",
                           "entitlement \"k\" = -0.0",
                           "entitlement \"k\" = \"\"",
                           R"(signer "a\"\\")",
                           "valid and valid or valid",
                           "(valid or valid) and valid",
                           "not valid",
                           "not not valid",
                           "not (valid and valid)",
                           "not valid and not valid",
                           "not (not valid or valid)"}) {
    EXPECT_EQ(printed(text), text);
  }
}

TEST(RequirementText, LeavesOutWhatSaysNothing) {
  EXPECT_EQ(printed(" ( valid ) // x"), "valid");
  EXPECT_EQ(printed("(valid and valid)or(valid)"), "valid and valid or valid");
  EXPECT_EQ(printed("valid and(valid and valid)"), "valid and valid and valid");
  EXPECT_EQ(printed("not(valid)"), "not valid");
  EXPECT_EQ(printed("not((not valid))"), "not not valid");
  EXPECT_EQ(printed("entitlement\"k\"=007"), "entitlement \"k\" = 7");
  EXPECT_EQ(printed("digest \"" + std::string(64, 'A') + "\""), "digest \"" + std::string(64, 'a') + "\"");
  EXPECT_EQ(printed("signer \"" + std::string(64, 'A') + "\""), "signer \"" + std::string(64, 'a') + "\"");
  EXPECT_EQ(printed("identifier \"" + std::string(64, 'A') + "\""), "identifier \"" + std::string(64, 'A') + "\"");
}

TEST(RequirementText, WritesTheLargestAndSmallestRealsSoThatTheyReadBack) {
  const std::string before = "entitlement \"k\" = ";
  const std::string largest = printed(before + "17976931348623157" + std::string(292, '0') + ".0");
  EXPECT_EQ(largest.substr(0, before.size() + 17), before + "17976931348623157");
  EXPECT_EQ(largest.size(), before.size() + 311);
  EXPECT_EQ(printed(largest), largest);
  const std::string smallest = before + "-0." + std::string(323, '0') + "5";
  EXPECT_EQ(printed(smallest), smallest);
}

TEST(RequirementText, GrowsInProportionToALongChain) {
  std::string text = "valid";
  while (text.size() + 9 < std::size_t{64} << 10) text += " or valid";
  EXPECT_EQ(printed(text), text);
}

}  // namespace
}  // namespace vanto::testing

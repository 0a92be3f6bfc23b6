// SPDX-License-Identifier: Apache-2.0
#include "signing/RequirementParser.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/signing/SampleFacts.h"
#include "support/SampleFiles.h"
#include "support/SmallStack.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

constexpr const char* conditionRemedy = "write one, such as valid or identifier \"org.example.client\"";

/// Why a text is refused; empty when it is not.
std::string mistakeIn(std::string_view text) {
  RequirementError error;
  return compileRequirement(text, &error) ? "" : error.text();
}

std::string repeated(std::string_view piece, std::size_t count) {
  std::string result;
  for (std::size_t index = 0; index < count; ++index) result += piece;
  return result;
}

/// "valid" inside so many parentheses.
std::string parenthesised(std::size_t levels) {
  return std::string(levels, '(') + "valid" + std::string(levels, ')');
}

std::string textOf(const test::SampleFile& sample) {
  return {sample.content.begin(), sample.content.end()};
}

std::vector<bool> verdicts(const Requirement& requirement) {
  std::vector<bool> result;
  for (const CodeFacts& facts : {test::validFacts(), test::invalidFacts(), test::bareFacts(), CodeFacts{}}) {
    result.push_back(requirement.isSatisfiedBy(facts));
  }
  return result;
}

TEST(RequirementParser, RefusesATextWithoutACondition) {
  const std::string words = ": the text ends where a condition is expected; ";
  EXPECT_EQ(mistakeIn(""), "column 1 (line 1)" + words + conditionRemedy);
  EXPECT_EQ(mistakeIn(" \n "), "column 2 (line 2)" + words + conditionRemedy);
  EXPECT_EQ(mistakeIn("// valid"), "column 9 (line 1)" + words + conditionRemedy);
  EXPECT_EQ(mistakeIn("valid and"), "column 10 (line 1)" + words + conditionRemedy);
  EXPECT_EQ(mistakeIn("valid or "), "column 10 (line 1)" + words + conditionRemedy);
  EXPECT_EQ(mistakeIn("not"), "column 4 (line 1)" + words + conditionRemedy);
  EXPECT_EQ(mistakeIn("("), "column 2 (line 1)" + words + conditionRemedy);
}

TEST(RequirementParser, RefusesWhatIsNoConditionWhereOneIsExpected) {
  for (const char* text : {"and", "or valid", ")", "true", "false", "12", "=", "exists"}) {
    EXPECT_EQ(mistakeIn(text), std::string("column 1 (line 1): a condition is expected here; ") + conditionRemedy)
        << text;
  }
  EXPECT_EQ(mistakeIn("valid and or valid"),
            std::string("column 11 (line 1): a condition is expected here; ") + conditionRemedy);
  EXPECT_EQ(mistakeIn("()"), std::string("column 2 (line 1): a condition is expected here; ") + conditionRemedy);
  EXPECT_EQ(mistakeIn("valid and\n\"org.vanto.client\""),
            "column 1 (line 2): a text stands alone; write identifier, signer, digest or entitlement before it");
}

TEST(RequirementParser, RefusesConditionsThatNothingJoins) {
  const std::string words = ": the condition before this place is complete; join the two with and or or";
  EXPECT_EQ(mistakeIn("valid valid"), "column 7 (line 1)" + words);
  EXPECT_EQ(mistakeIn("valid not valid"), "column 7 (line 1)" + words);
  EXPECT_EQ(mistakeIn("valid (valid)"), "column 7 (line 1)" + words);
  EXPECT_EQ(mistakeIn("(valid) valid"), "column 9 (line 1)" + words);
  EXPECT_EQ(mistakeIn("valid \"a\""), "column 7 (line 1)" + words);
  EXPECT_EQ(mistakeIn("valid 1"), "column 7 (line 1)" + words);
  EXPECT_EQ(mistakeIn("entitlement \"a\" true"), "column 17 (line 1)" + words);
  EXPECT_EQ(mistakeIn("identifier \"a\"\n  signer \"b\""), "column 3 (line 2)" + words);
}

TEST(RequirementParser, RefusesToCompareAnythingButAnEntitlement) {
  const std::string words =
      ": only the key of an entitlement can be compared; join conditions with and or or, or write entitlement before "
      "the key";
  EXPECT_EQ(mistakeIn("identifier \"a\" = \"b\""), "column 16 (line 1)" + words);
  EXPECT_EQ(mistakeIn("valid exists"), "column 7 (line 1)" + words);
  EXPECT_EQ(mistakeIn("entitlement \"a\" exists = 1"), "column 24 (line 1)" + words);
  EXPECT_EQ(mistakeIn("entitlement \"a\" = 1 = 1"), "column 21 (line 1)" + words);
}

TEST(RequirementParser, RefusesParenthesesWithoutTheirOther) {
  EXPECT_EQ(mistakeIn("valid)"),
            "column 6 (line 1): this parenthesis was never opened; remove it, or open one before it");
  EXPECT_EQ(mistakeIn("(valid))"),
            "column 8 (line 1): this parenthesis was never opened; remove it, or open one before it");
  EXPECT_EQ(mistakeIn("(valid"), "column 1 (line 1): this parenthesis is never closed; add )");
  EXPECT_EQ(mistakeIn("((valid) and\n not (valid or valid"),
            "column 6 (line 2): this parenthesis is never closed; add )");
}

TEST(RequirementParser, RefusesAWordWithoutItsText) {
  for (const char* word : {"identifier", "signer", "digest"}) {
    const std::string column = std::to_string(std::string_view(word).size() + 2);
    for (const char* behind : {"", "valid", "1", "(", "= \"a\""}) {
      EXPECT_EQ(mistakeIn(std::string(word) + " " + behind),
                "column " + column +
                    " (line 1): a text in double quotes is expected here; write it, such as \"org.example.client\"");
    }
    EXPECT_EQ(mistakeIn(std::string(word) + " \"\""),
              "column " + column + " (line 1): an empty text names nothing; write it, such as \"org.example.client\"");
  }
  for (const char* behind : {"", "valid", "= 1", "exists"}) {
    EXPECT_EQ(mistakeIn(std::string("entitlement ") + behind),
              "column 13 (line 1): the key of an entitlement is expected here; write it in double quotes");
  }
  EXPECT_EQ(mistakeIn("entitlement \"\""),
            "column 13 (line 1): an empty text names nothing; write it in double quotes");
}

TEST(RequirementParser, RefusesWhatIsNoDigest) {
  for (const std::string& digest : {std::string(63, 'a'), std::string(65, 'a'), std::string(63, 'a') + "g",
                                    "sha256:" + std::string(57, 'a'), std::string("a")}) {
    EXPECT_EQ(mistakeIn("valid or\ndigest \"" + digest + "\""),
              "column 8 (line 2): a digest has 64 hexadecimal digits; write the SHA-256 of the executable");
  }
}

TEST(RequirementParser, RefusesAComparisonWithoutAValue) {
  for (const char* behind : {"", "valid", "(1)", "= 1", "exists", "not true"}) {
    EXPECT_EQ(mistakeIn(std::string("entitlement \"a\" = ") + behind),
              "column 19 (line 1): a value is expected behind =; write a \"text\", a number, true or false")
        << behind;
  }
}

TEST(RequirementParser, TakesNumbersToTheirLimits) {
  const std::string before = "entitlement \"a\" = ";
  EXPECT_EQ(mistakeIn(before + "9223372036854775807"), "");
  EXPECT_EQ(mistakeIn(before + "-9223372036854775808"), "");
  for (const char* number : {"9223372036854775808", "-9223372036854775809", "99999999999999999999999999"}) {
    EXPECT_EQ(mistakeIn(before + number),
              "column 19 (line 1): this number is too large; write one that 64 bits with a sign can hold");
  }
  EXPECT_EQ(mistakeIn(before + "17976931348623157" + std::string(292, '0') + ".0"), "");
  EXPECT_EQ(mistakeIn(before + "0." + std::string(323, '0') + "5"), "");
  for (const std::string& number : {"1" + std::string(309, '0') + ".0", "0." + std::string(400, '0') + "1"}) {
    EXPECT_EQ(mistakeIn(before + number),
              "column 19 (line 1): this number is too large or too small; write one that 64-bit reals can hold");
  }
}

TEST(RequirementParser, PassesOnTheMistakesOfTheScanner) {
  for (const char* text : {"valid and ?", "valid ?", "identifier ?", "entitlement ?", "entitlement \"a\" ?",
                           "entitlement \"a\" = ?", "not ?", "( ?"}) {
    EXPECT_EQ(mistakeIn(text),
              "column " + std::to_string(std::string_view(text).size()) +
                  " (line 1): nothing can begin with this character; use words, \"texts\", numbers, '=' and "
                  "parentheses, and put comments behind // or into /* */")
        << text;
  }
}

TEST(RequirementParser, RefusesBytesThatAreNoCharacters) {
  const std::string words = ": the text is not UTF-8; write it in UTF-8";
  EXPECT_EQ(mistakeIn("\xff"), "column 1 (line 1)" + words);
  EXPECT_EQ(mistakeIn("valid // \xc3"), "column 10 (line 1)" + words);
  EXPECT_EQ(mistakeIn("valid\nor signer \"\xc3\xa4\xf0\x9f\x98\x80\xe2\x82\""), "column 18 (line 2)" + words);
  EXPECT_EQ(mistakeIn("signer \"\xed\xa0\x80\""), "column 9 (line 1)" + words);
  EXPECT_EQ(mistakeIn("signer \"\xc0\x80\""), "column 9 (line 1)" + words);
}

TEST(RequirementParser, TakesTextsUpToTheLimitOfTheirLength) {
  const std::string atLimit = "valid" + std::string(limits::requirementBytes - 5, ' ');
  ASSERT_EQ(atLimit.size(), std::size_t{65536});
  EXPECT_EQ(mistakeIn(atLimit), "");
  EXPECT_EQ(mistakeIn(atLimit + " "),
            "column 65537 (line 1): the text is longer than 65536 bytes; make it shorter, or make several "
            "requirements of it");
  const std::string name(limits::requirementBytes - std::string_view("signer \"\"").size(), 'x');
  EXPECT_EQ(mistakeIn("signer \"" + name + "\""), "");
  EXPECT_FALSE(mistakeIn("signer \"" + name + "x\"").empty());
}

TEST(RequirementParser, TakesNestingUpToItsLimit) {
  const std::string words =
      ": more than 64 parentheses and nots are inside one another; write the requirement with fewer";
  EXPECT_EQ(mistakeIn(parenthesised(64)), "");
  EXPECT_EQ(mistakeIn(parenthesised(65)), "column 65 (line 1)" + words);
  EXPECT_EQ(mistakeIn(repeated("not ", 64) + "valid"), "");
  EXPECT_EQ(mistakeIn(repeated("not ", 65) + "valid"), "column 257 (line 1)" + words);
  EXPECT_EQ(mistakeIn(repeated("not(", 32) + "valid" + std::string(32, ')')), "");
  EXPECT_EQ(mistakeIn(repeated("not(", 32) + "not valid" + std::string(32, ')')), "column 129 (line 1)" + words);
}

TEST(RequirementParser, CountsOnlyWhatIsInsideOneAnother) {
  EXPECT_EQ(mistakeIn(repeated("(valid) and ", 100) + "valid"), "");
  EXPECT_EQ(mistakeIn(repeated("not valid or ", 100) + "not valid"), "");
  EXPECT_EQ(mistakeIn(parenthesised(64) + " and " + parenthesised(64) + " or " + repeated("not ", 64) + "valid"), "");
  EXPECT_EQ(mistakeIn(repeated("not ", 10) + "valid and " + parenthesised(64)), "");
  EXPECT_NE(mistakeIn(repeated("not ", 10) + parenthesised(55)), "");
}

TEST(RequirementParser, TheDeepestRequirementIsEvaluatedAndPrinted) {
  // In each level something waits on the left of both words.
  std::string text = "valid";
  for (std::size_t level = 0; level < limits::requirementNesting; ++level) {
    text = "not valid or valid and (" + text + ")";
  }
  const auto requirement = compileRequirement(text);
  ASSERT_TRUE(requirement);
  EXPECT_TRUE(requirement->isSatisfiedBy(test::validFacts()));
  EXPECT_TRUE(requirement->isSatisfiedBy(test::invalidFacts()));
  const auto again = compileRequirement(requirement->text());
  ASSERT_TRUE(again);
  EXPECT_EQ(verdicts(*again), verdicts(*requirement));
}

TEST(RequirementParser, NoTextChoosesHowMuchStackIsUsed) {
  runOnSmallStack(std::size_t{64} << 10, [] {
    for (const std::string& text :
         {std::string(limits::requirementBytes, '('), repeated("not ", limits::requirementBytes / 4),
          "valid" + repeated(" or valid", (limits::requirementBytes - 5) / 9), parenthesised(64)}) {
      RequirementError error;
      const auto requirement = compileRequirement(text, &error);
      EXPECT_EQ(requirement == nullptr, error.line == 1);
      EXPECT_TRUE(requirement == nullptr || requirement->isSatisfiedBy(test::validFacts()));
    }
  });
}

TEST(RequirementParser, LeavesTheErrorAloneForARequirementAndNeedsNone) {
  RequirementError error{3, 4, "p", "r"};
  EXPECT_TRUE(compileRequirement("valid", &error));
  EXPECT_EQ(error.text(), "column 4 (line 3): p; r");
  EXPECT_FALSE(compileRequirement("and"));
}

TEST(RequirementParser, TakesEverySampleToAcceptAndPrintsItSoThatItSaysTheSame) {
  const std::vector<test::SampleFile> accepted = test::sampleFiles(VANTO_REQUIREMENT_SAMPLES, "accept-");
  ASSERT_GT(accepted.size(), 15U);
  for (const test::SampleFile& sample : accepted) {
    const auto requirement = compileRequirement(textOf(sample));
    ASSERT_TRUE(requirement) << sample.name << ": " << mistakeIn(textOf(sample));
    const std::string text = requirement->text();
    if (text.size() > limits::requirementBytes) continue;
    const auto again = compileRequirement(text);
    ASSERT_TRUE(again) << sample.name;
    EXPECT_EQ(again->text(), text) << sample.name;
    EXPECT_EQ(verdicts(*again), verdicts(*requirement)) << sample.name;
  }
}

TEST(RequirementParser, RefusesEverySampleToRefuse) {
  const std::vector<test::SampleFile> refused = test::sampleFiles(VANTO_REQUIREMENT_SAMPLES, "refuse-");
  ASSERT_GT(refused.size(), 25U);
  for (const test::SampleFile& sample : refused) EXPECT_NE(mistakeIn(textOf(sample)), "") << sample.name;
}

TEST(RequirementParser, ATextCutAnywhereIsRefusedInsideOrIsWhole) {
  for (const test::SampleFile& sample : test::sampleFiles(VANTO_REQUIREMENT_SAMPLES, "accept-")) {
    const std::string text = textOf(sample);
    if (text.size() > 512) continue;
    for (std::size_t length = 0; length < text.size(); ++length) {
      RequirementError error;
      const auto requirement = compileRequirement(std::string_view(text).substr(0, length), &error);
      if (requirement) {
        ASSERT_TRUE(compileRequirement(requirement->text())) << sample.name << " cut at " << length;
      } else {
        ASSERT_TRUE(error.line >= 1 && error.column >= 1 && error.column <= length + 1)
            << sample.name << " cut at " << length << ": " << error.text();
      }
    }
  }
}

TEST(RequirementParser, SaysOfAWholeTextWhereItMayBeCut) {
  // Only behind a condition, in blanks and in the comment that ends with its line is what is left a requirement.
  const std::string text = "not(valid)and identifier\"ab\" //x";
  std::string map;
  for (std::size_t length = 0; length <= text.size(); ++length) {
    map += compileRequirement(std::string_view(text).substr(0, length)) ? '+' : '-';
  }
  EXPECT_EQ(map, "----------+-----------------++-++");
}

}  // namespace
}  // namespace vanto::testing

// SPDX-License-Identifier: Apache-2.0
#include "signing/RequirementScanner.h"

#include <vector>

#include <gtest/gtest.h>

namespace vanto::testing {
namespace {

using Kind = RequirementToken::Kind;

struct Found {
  Kind kind;
  std::size_t offset;
  std::string text;

  bool operator==(const Found&) const = default;
};

/// The tokens of `source` up to its end or a mistake, that included.
std::vector<Found> scan(std::string_view source) {
  RequirementScanner scanner(source);
  std::vector<Found> result;
  do {
    RequirementToken token = scanner.next();
    result.push_back({token.kind, token.offset, token.text});
  } while (result.back().kind != Kind::End && result.back().kind != Kind::Mistake);
  return result;
}

std::vector<Kind> kinds(std::string_view source) {
  std::vector<Kind> result;
  for (const Found& found : scan(source)) result.push_back(found.kind);
  return result;
}

/// Why `source` is refused; empty when it is not.
std::string mistakeIn(std::string_view source) {
  RequirementScanner scanner(source);
  RequirementToken token = scanner.next();
  while (token.kind != Kind::End && token.kind != Kind::Mistake) token = scanner.next();
  EXPECT_EQ(scanner.error().has_value(), token.kind == Kind::Mistake) << source;
  return scanner.error() ? scanner.error()->text() : "";
}

TEST(RequirementScanner, KnowsEveryWordAndSign) {
  EXPECT_EQ(
      kinds("and digest entitlement exists false identifier not or signer true valid ( ) ="),
      (std::vector{Kind::And, Kind::Digest, Kind::Entitlement, Kind::Exists, Kind::False, Kind::Identifier, Kind::Not,
                   Kind::Or, Kind::Signer, Kind::True, Kind::Valid, Kind::Open, Kind::Close, Kind::Equals, Kind::End}));
}

TEST(RequirementScanner, SaysWhereTokensBegin) {
  EXPECT_EQ(scan(" not\n(\"a\")"), (std::vector<Found>{{Kind::Not, 1, "not"},
                                                       {Kind::Open, 5, "("},
                                                       {Kind::String, 6, "a"},
                                                       {Kind::Close, 9, ")"},
                                                       {Kind::End, 10, ""}}));
}

TEST(RequirementScanner, NeedsNoBlanksBetweenWordsAndSigns) {
  EXPECT_EQ(kinds("identifier\"a\"and(not valid)or entitlement\"b\"=1"),
            (std::vector{Kind::Identifier, Kind::String, Kind::And, Kind::Open, Kind::Not, Kind::Valid, Kind::Close,
                         Kind::Or, Kind::Entitlement, Kind::String, Kind::Equals, Kind::Number, Kind::End}));
}

TEST(RequirementScanner, LeavesOutBlanksAndComments) {
  for (const char* source : {"valid", " \t\r\nvalid \n", "/**/valid/* \"x \n */", "// first\nvalid // last",
                             "/* // */ valid", "// /*\nvalid", "/***/valid", "valid//"}) {
    EXPECT_EQ(kinds(source), (std::vector{Kind::Valid, Kind::End})) << source;
  }
  for (const char* source : {"", " ", "//", "// no end", "/**/", "\n\n"}) {
    EXPECT_EQ(kinds(source), std::vector{Kind::End}) << source;
  }
}

TEST(RequirementScanner, TakesEscapesOutOfTexts) {
  EXPECT_EQ(scan(R"("a\"b\\c/*d*/ //e")")[0].text, R"(a"b\c/*d*/ //e)");
  EXPECT_EQ(scan("\"\"")[0].text, "");
  EXPECT_EQ(scan("\"\u00e4\u20ac\U0001f600\"")[0].text, "\u00e4\u20ac\U0001f600");
}

TEST(RequirementScanner, TakesNumbers) {
  for (const char* number : {"0", "-1", "12", "007", "0.5", "-12.250", "99999999999999999999"}) {
    EXPECT_EQ(scan(number)[0], (Found{Kind::Number, 0, number}));
  }
}

TEST(RequirementScanner, RefusesWhatIsNoNumber) {
  for (const char* number : {"-", "1.", "1.5.2", "--1", "1e5", "0x10", "1a", "-a", "1+1", "1_000", "-.5"}) {
    EXPECT_EQ(mistakeIn(number),
              "column 1 (line 1): '" + std::string(number) + "' is no number; write digits such as 12, -3 or 0.5");
  }
}

TEST(RequirementScanner, RefusesUnknownWords) {
  const std::string remedy =
      "; use identifier, signer, digest, entitlement or valid, and join them with and, or and not";
  EXPECT_EQ(mistakeIn("valid and\n  anchor"), "column 3 (line 2): there is no word 'anchor'" + remedy);
  EXPECT_EQ(mistakeIn("valid_"), "column 1 (line 1): there is no word 'valid_'" + remedy);
  EXPECT_EQ(mistakeIn("andvalid"), "column 1 (line 1): there is no word 'andvalid'" + remedy);
  EXPECT_EQ(mistakeIn("_"), "column 1 (line 1): there is no word '_'" + remedy);
  EXPECT_EQ(mistakeIn(std::string(40, 'x')),
            "column 1 (line 1): there is no word '" + std::string(40, 'x') + "'" + remedy);
  EXPECT_EQ(mistakeIn(std::string(41, 'x')),
            "column 1 (line 1): there is no word '" + std::string(40, 'x') + "...'" + remedy);
}

TEST(RequirementScanner, RefusesWordsInUpperCase) {
  EXPECT_EQ(mistakeIn("valid AND valid"), "column 7 (line 1): words are written in lower case; write 'and'");
  EXPECT_EQ(mistakeIn("Identifier"), "column 1 (line 1): words are written in lower case; write 'identifier'");
}

TEST(RequirementScanner, RefusesOtherCharacters) {
  for (const char* source : {"!", "&&", "'a'", "/", "/ /", "*", ".", ",", "+1", "\u00e4", "\x7f", "\v", "\\"}) {
    EXPECT_EQ(mistakeIn(source),
              "column 1 (line 1): nothing can begin with this character; use words, \"texts\", numbers, '=' and "
              "parentheses, and put comments behind // or into /* */")
        << source;
  }
  EXPECT_FALSE(mistakeIn(std::string_view("\0", 1)).empty());
}

TEST(RequirementScanner, RefusesTextsAndCommentsWithoutAnEnd) {
  EXPECT_EQ(mistakeIn("valid \"abc"), "column 7 (line 1): this text never ends; close it with a double quote");
  EXPECT_EQ(mistakeIn("\""), "column 1 (line 1): this text never ends; close it with a double quote");
  EXPECT_EQ(mistakeIn("\"\\\""), "column 1 (line 1): this text never ends; close it with a double quote");
  for (const char* comment : {"/*", "/* a", "/* *", "/*/"}) {
    EXPECT_EQ(mistakeIn(comment), "column 1 (line 1): this comment never ends; close it with */") << comment;
  }
}

TEST(RequirementScanner, RefusesOtherEscapes) {
  for (const char* text : {R"("a\n")", R"("a\ ")", R"("a\u0041")", "\"a\\"}) {
    EXPECT_EQ(mistakeIn(text),
              "column 3 (line 1): there is no such escape in a text; write \\\\ for a backslash and "
              "\\\" for a double quote")
        << text;
  }
}

TEST(RequirementScanner, RefusesControlCharactersInTexts) {
  for (const char byte : {'\n', '\r', '\t', '\0', '\x1f', '\x7f', '\x01'}) {
    EXPECT_EQ(mistakeIn(std::string("\"ab") + byte + "\""),
              "column 4 (line 1): a text cannot hold line breaks and other control characters; close it with a double "
              "quote before this place")
        << int{byte};
  }
}

TEST(RequirementScanner, StaysAtTheEndAndAtAMistake) {
  RequirementScanner scanner("valid");
  EXPECT_EQ(scanner.next().kind, Kind::Valid);
  for (int call = 0; call < 3; ++call) EXPECT_EQ(scanner.next().kind, Kind::End);
  RequirementScanner mistaken("? valid");
  for (int call = 0; call < 3; ++call) EXPECT_EQ(mistaken.next().kind, Kind::Mistake);
  EXPECT_EQ(mistaken.error()->column, 1U);
}

}  // namespace
}  // namespace vanto::testing

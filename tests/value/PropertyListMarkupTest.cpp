// SPDX-License-Identifier: Apache-2.0
// What may stand around the elements of a property list.
#include "value/PropertyListMarkup.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "support/PropertyLists.h"

namespace vanto {
namespace {

using testing::mistakeIn;
using testing::readDocument;

constexpr std::string_view root = "<plist version=\"1.0\"><true/></plist>";

std::string mistakeBefore(std::string_view prolog) {
  return mistakeIn(std::string(prolog) + std::string(root));
}
std::string mistakeBehind(std::string_view epilog) {
  return mistakeIn(std::string(root) + std::string(epilog));
}

TEST(PropertyListMarkup, TakesADocumentWithoutAProlog) {
  EXPECT_EQ(mistakeBefore(""), "");
}

TEST(PropertyListMarkup, TakesTheUsualProlog) {
  EXPECT_EQ(
      mistakeBefore("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Example//List 1.0//EN\" "
                    "\"http://example.org/list.dtd\">\n"),
      "");
}

TEST(PropertyListMarkup, TakesAByteOrderMarkAndDoesNotCountIt) {
  EXPECT_EQ(mistakeBefore("\xEF\xBB\xBF<?xml version='1.0'?>"), "");
  EXPECT_EQ(mistakeIn("\xEF\xBB\xBF<x/>"), "1:1 expected the root element <plist>");
  EXPECT_EQ(mistakeBefore("\xEF\xBB\xBF\xEF\xBB\xBF"), "1:1 expected the root element <plist>");
  EXPECT_NE(mistakeBefore("\xFF\xFE"), "");
}

TEST(PropertyListMarkup, TakesEncodingsThatAreUtf8InAnyCase) {
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" encoding='utf-8'?>"), "");
  EXPECT_EQ(mistakeBefore("<?xml version = \"1.0\"\tencoding = \"Utf-8\"\n?>"), "");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" standalone=\"yes\"?>"), "");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone='no' ?>"), "");
}

TEST(PropertyListMarkup, RefusesOtherDeclarations) {
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.1\"?>"), "1:16 expected version 1.0 of XML");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" encoding=\"UTF-16\"?>"), "1:31 expected the encoding UTF-8");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>"), "1:31 expected the encoding UTF-8");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" encoding=\"UTF8\"?>"), "1:31 expected the encoding UTF-8");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" standalone=\"maybe\"?>"), "1:33 expected yes or no");
  EXPECT_EQ(mistakeBefore("<?xml encoding=\"UTF-8\"?>"), "1:7 expected version");
  EXPECT_EQ(mistakeBefore("<?xml?>"), "1:6 expected version");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\"encoding=\"UTF-8\"?>"), "1:20 expected a blank");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" other=\"1\"?>"), "1:21 expected ?> at the end of the XML declaration");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\" standalone=\"yes\" encoding=\"UTF-8\"?>"),
            "1:38 expected ?> at the end of the XML declaration");
  EXPECT_EQ(mistakeBefore("<?xml version 1.0?>"), "1:15 expected =");
  EXPECT_EQ(mistakeBefore("<?xml version=1.0?>"), "1:15 expected a quotation mark");
  EXPECT_EQ(mistakeIn("<?xml version=\"1.0"), "1:19 expected a closing quotation mark");
}

TEST(PropertyListMarkup, RefusesADeclarationThatDoesNotComeFirst) {
  EXPECT_EQ(mistakeBefore("\n<?xml version=\"1.0\"?>"), "2:1 an XML declaration that is not at the beginning");
  EXPECT_EQ(mistakeBefore("<?xml version=\"1.0\"?><?XML version=\"1.0\"?>"),
            "1:22 an XML declaration that is not at the beginning");
}

TEST(PropertyListMarkup, TakesCommentsAndInstructionsAround) {
  EXPECT_EQ(mistakeBefore("<!-- one --><?two?><!----> <!-- - -->\n<?three <x> ? ?>"), "");
  EXPECT_EQ(mistakeBefore("<!-- one --><!DOCTYPE plist><!-- two -->"), "");
  EXPECT_EQ(mistakeBefore("<?xml-style x?>"), "");
  EXPECT_EQ(mistakeBehind("\n<!-- one -->\n<?two?>\n"), "");
}

TEST(PropertyListMarkup, RefusesMalformedComments) {
  EXPECT_EQ(mistakeBefore("<!-- a -- b -->"), "1:8 -- inside a comment");
  EXPECT_EQ(mistakeBefore("<!-- a --->"), "1:8 -- inside a comment");
  EXPECT_EQ(mistakeIn("<!-- a"), "1:7 expected --> at the end of the comment");
  EXPECT_EQ(mistakeBefore("<!-- \x01 -->"), "1:6 a character that XML does not allow, or invalid UTF-8");
  EXPECT_EQ(mistakeBefore("<!-- \xC3 -->"), "1:6 a character that XML does not allow, or invalid UTF-8");
}

TEST(PropertyListMarkup, RefusesMalformedInstructions) {
  EXPECT_EQ(mistakeBefore("<? a?>"), "1:3 expected the name of a processing instruction");
  EXPECT_EQ(mistakeBefore("<?a,b?>"), "1:4 expected a blank or ?>");
  EXPECT_EQ(mistakeIn("<?a b"), "1:6 expected ?> at the end of the processing instruction");
  EXPECT_EQ(mistakeIn("<?a"), "1:4 expected a blank or ?>");
}

TEST(PropertyListMarkup, SkipsADocumentTypeWithoutInternalSubset) {
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist>"), "");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist SYSTEM \"file:///nowhere/at all.dtd\" >"), "");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE\nplist\nPUBLIC\n'-//Example//EN'\n''>"), "");
}

TEST(PropertyListMarkup, RefusesADocumentTypeWithInternalSubset) {
  const std::string message = " a document type declaration with an internal subset";
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist []>"), "1:17" + message);
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist[<!ENTITY a \"b\">]>"), "1:16" + message);
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist SYSTEM \"x\" [<!ENTITY a SYSTEM \"file:///etc/hostname\">]>"),
            "1:28" + message);
}

TEST(PropertyListMarkup, RefusesMalformedDocumentTypes) {
  EXPECT_EQ(mistakeBefore("<!DOCTYPEplist>"), "1:10 expected a blank");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE >"), "1:11 expected the name of the document type");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist SYSTEM>"), "1:23 expected a blank");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist SYSTEM x>"), "1:24 expected a quotation mark");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist PUBLIC \"x\">"), "1:27 expected a blank");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist PUBLIC x>"), "1:24 expected a quotation mark");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist PUBLIC\"x\" \"y\">"), "1:23 expected a blank");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist PUBLIC \"{x}\" \"y\">"), "1:25 expected a public identifier");
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist other>"), "1:17 expected > at the end of the document type declaration");
}

TEST(PropertyListMarkup, RefusesASecondOrLateDocumentType) {
  EXPECT_EQ(mistakeBefore("<!DOCTYPE plist><!DOCTYPE plist>"), "1:17 expected the root element <plist>");
  EXPECT_EQ(mistakeBehind("<!DOCTYPE plist>"), "1:37 expected nothing more behind </plist>");
  EXPECT_EQ(mistakeIn("<plist><!DOCTYPE plist><true/></plist>"), "1:8 expected a value");
}

TEST(PropertyListMarkup, RefusesAnythingElseAround) {
  EXPECT_EQ(mistakeBefore("text"), "1:1 expected the root element <plist>");
  EXPECT_EQ(mistakeBefore("&lt;"), "1:1 expected the root element <plist>");
  EXPECT_EQ(mistakeBehind("x"), "1:37 expected nothing more behind </plist>");
  EXPECT_EQ(mistakeBehind("<plist/>"), "1:37 expected nothing more behind </plist>");
  EXPECT_EQ(mistakeBehind(std::string_view("\0", 1)), "1:37 expected nothing more behind </plist>");
  EXPECT_EQ(mistakeBehind("<!-- x"), "1:43 expected --> at the end of the comment");
}

}  // namespace
}  // namespace vanto

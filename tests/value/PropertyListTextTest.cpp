// SPDX-License-Identifier: Apache-2.0
// The texts of strings and keys.
#include "value/PropertyListText.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

#include "support/PropertyLists.h"
#include "value/PropertyListCharacters.h"

namespace vanto {
namespace {

using testing::mistakeInElement;
using testing::readElement;

const std::string badCharacter = "a character that XML does not allow, or invalid UTF-8";

std::string text(std::string_view contents) {
  const Ref<PlistValue> value = readElement("<string>" + std::string(contents) + "</string>");
  const PlistString* string = as<PlistString>(value.get());
  if (string == nullptr) return "REFUSED";
  EXPECT_EQ(string->utf8()[string->length()], '\0');
  return std::string(string->text());
}

std::string mistakeInText(std::string_view contents) {
  return mistakeInElement("<string>" + std::string(contents) + "</string>");
}

TEST(PropertyListText, IsTakenAsItIs) {
  EXPECT_EQ(text(""), "");
  EXPECT_EQ(text("a"), "a");
  EXPECT_EQ(text("  blanks stay\t\n "), "  blanks stay\t\n ");
  EXPECT_EQ(text("grün 日本 😀"), "grün 日本 😀");
  EXPECT_EQ(text("a>b ]] \"'"), "a>b ]] \"'");
}

TEST(PropertyListText, OfAnyLengthIsTakenWhole) {
  for (std::size_t length = 0; length < 600; ++length) {
    const std::string long_(length, static_cast<char>('a' + length % 26));
    ASSERT_EQ(text(long_), long_);
    ASSERT_EQ(text(long_ + "&amp;" + long_), long_ + "&" + long_);
    ASSERT_EQ(text(long_ + "é" + long_), long_ + "é" + long_);
  }
}

TEST(PropertyListText, ResolvesThePredefinedEntities) {
  EXPECT_EQ(text("&lt;&gt;&amp;&quot;&apos;"), "<>&\"'");
  EXPECT_EQ(text("a&amp;lt;b"), "a&lt;b");
}

TEST(PropertyListText, ResolvesNumericReferences) {
  EXPECT_EQ(text("&#65;&#x42;&#x00000043;&#000068;"), "ABCD");
  EXPECT_EQ(text("&#xE9;&#x20AC;&#x1F600;&#x10FFFF;"), "é€😀\U0010FFFF");
  EXPECT_EQ(text("&#9;&#10;&#13;"), "\t\n\r");
  EXPECT_EQ(text("&#xd;\n"), "\r\n");
}

TEST(PropertyListText, RefusesReferencesToWhatXMLDoesNotAllow) {
  for (const char* reference : {"&#0;", "&#1;", "&#x1F;", "&#xD800;", "&#xDFFF;", "&#xFFFE;", "&#xFFFF;", "&#x110000;",
                                "&#4294967361;", "&#18446744073709551681;"}) {
    EXPECT_EQ(mistakeInText(std::string("a") + reference), "4:10 a reference to a character that XML does not allow")
        << reference;
  }
}

TEST(PropertyListText, RefusesOtherReferences) {
  const std::string expected = "4:10 expected one of the references &lt; &gt; &amp; &quot; &apos; or a numeric one";
  for (const char* reference : {"&", "&;", "&nbsp;", "&LT;", "&lt", "& lt;", "&a;", "&am;"}) {
    EXPECT_EQ(mistakeInText(std::string("a") + reference), expected) << reference;
  }
  EXPECT_EQ(mistakeInText("&#;"), "4:11 expected the number of a character");
  EXPECT_EQ(mistakeInText("&#x;"), "4:12 expected the number of a character");
  EXPECT_EQ(mistakeInText("&#X41;"), "4:11 expected the number of a character");
  EXPECT_EQ(mistakeInText("&#4A;"), "4:12 expected ; at the end of the reference");
  EXPECT_EQ(mistakeInText("&#65 ;"), "4:13 expected ; at the end of the reference");
}

TEST(PropertyListText, TurnsLineEndsIntoLineFeeds) {
  EXPECT_EQ(text("a\r\nb\rc\nd\r\r\ne\r"), "a\nb\nc\nd\n\ne\n");
  EXPECT_EQ(text("<![CDATA[a\r\nb\rc]]>\r"), "a\nb\nc\n");
}

TEST(PropertyListText, TakesSectionsAsTheyAre) {
  EXPECT_EQ(text("<![CDATA[<&>]]>"), "<&>");
  EXPECT_EQ(text("a<![CDATA[]]>b<![CDATA[]]]]>c<![CDATA[>é]]>"), "ab]]c>é");
  EXPECT_EQ(text("<![CDATA[&amp;<![CDATA[]]>"), "&amp;<![CDATA[");
}

TEST(PropertyListText, RefusesMalformedSections) {
  EXPECT_EQ(mistakeInText("<![CDATA[a"), "4:36 expected ]]> at the end of the section");
  EXPECT_EQ(mistakeInText("<![cdata[a]]>"), "4:9 expected </string>");
  EXPECT_EQ(mistakeInText("<![CDATA[\x01]]>"), "4:18 " + badCharacter);
  EXPECT_EQ(mistakeInText("<![CDATA[\xC3]]>"), "4:18 " + badCharacter);
  EXPECT_EQ(mistakeInText("a]]>"), "4:10 ]]> in a text");
}

TEST(PropertyListText, LeavesOutCommentsAndInstructions) {
  EXPECT_EQ(text("a<!-- b -->c<?d e?>f"), "acf");
  EXPECT_EQ(mistakeInText("a<!-- -- -->"), "4:15 -- inside a comment");
  EXPECT_EQ(mistakeInText("a<?xml b?>"), "4:10 an XML declaration that is not at the beginning");
}

TEST(PropertyListText, RefusesElementsInside) {
  EXPECT_EQ(mistakeInText("a<b>c</b>"), "4:10 expected </string>");
  EXPECT_EQ(mistakeInText("a</key>"), "4:10 expected </string>");
  EXPECT_EQ(mistakeInText("a< /string>"), "4:10 expected </string>");
  EXPECT_EQ(mistakeInText("a</ string>"), "4:10 expected </string>");
  EXPECT_EQ(mistakeInText("a</strings>"), "4:10 expected </string>");
  EXPECT_EQ(mistakeInText("a</string/>"), "4:10 expected </string>");
}

TEST(PropertyListText, EndsAtATagWithBlanks) {
  EXPECT_EQ(as<PlistString>(readElement("<string >a</string\n>").get())->text(), "a");
}

TEST(PropertyListText, HoldsExactlyTheCharactersOfXML) {
  for (std::uint32_t character = 0; character < 0x100; ++character) {
    char bytes[4];
    const std::string one(bytes, characters::encode(character, bytes));
    for (const std::string& padding : {std::string(), std::string(40, 'x')}) {
      const std::string contents = padding + one + padding;
      if (one == "<" || one == "&") continue;
      const bool allowed = character >= 0x20 || one == "\t" || one == "\n" || one == "\r";
      if (allowed) {
        EXPECT_EQ(text(contents), one == "\r" ? padding + "\n" + padding : contents) << character;
      } else {
        EXPECT_EQ(mistakeInText(contents), "4:" + std::to_string(9 + padding.size()) + " " + badCharacter);
      }
    }
  }
}

TEST(PropertyListText, RefusesInvalidUtf8) {
  for (const std::string_view bytes : {"\x80", "\xBF", "\xC0\xAF", "\xC3", "\xC3(", "\xE2\x82", "\xE0\x80\xAF",
                                       "\xED\xA0\x80", "\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xF0\x80\x80\xAF",
                                       "\xF0\x9F\x98", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFE", "\xFF"}) {
    EXPECT_EQ(mistakeInText("é" + std::string(bytes)), "4:11 " + badCharacter);
    EXPECT_EQ(mistakeInText("&amp;" + std::string(bytes)), "4:14 " + badCharacter);
  }
}

TEST(PropertyListText, OfKeysFollowsTheSameRules) {
  const Ref<PlistValue> value = readElement("<dict><key>a&amp;<![CDATA[<]]>é</key><true/><key/><false/></dict>");
  const PlistDictionary* dictionary = as<PlistDictionary>(value.get());
  ASSERT_NE(dictionary, nullptr);
  EXPECT_EQ(dictionary->valueForKey("a&<é"), PlistBoolean::of(true));
  EXPECT_EQ(dictionary->valueForKey(""), PlistBoolean::of(false));
  EXPECT_EQ(mistakeInElement("<dict><key>a</string>"), "4:13 expected </key>");
}

}  // namespace
}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

#include "support/PropertyLists.h"
#include "value/limits.h"

namespace vanto {
namespace {

using testing::bytesOf;
using testing::mistakeIn;
using testing::mistakeInElement;
using testing::readDocument;
using testing::readElement;

template <typename Kind>
Kind& valueOf(const Ref<PlistValue>& value) {
  Kind* kind = as<Kind>(value.get());
  if (kind == nullptr) ADD_FAILURE() << "refused, or of another kind";
  return *kind;
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t index = 0; index < count; ++index) result += text;
  return result;
}

std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(PropertyListReader, ReadsEveryKind) {
  const Ref<PlistValue> value = readElement(
      "<array><dict><key>k</key><string>v</string></dict><array/><string>s</string><integer>-7</integer>"
      "<real>0.5</real><true/><false/><data>AAEC</data><date>1970-01-01T00:00:01Z</date></array>");
  const PlistArray& array = valueOf<PlistArray>(value);
  ASSERT_EQ(array.count(), 9U);
  EXPECT_EQ(as<PlistString>(as<PlistDictionary>(array.at(0))->valueForKey("k"))->text(), "v");
  EXPECT_EQ(as<PlistArray>(array.at(1))->count(), 0U);
  EXPECT_EQ(as<PlistString>(array.at(2))->text(), "s");
  EXPECT_EQ(as<PlistNumber>(array.at(3))->int64Value(), -7);
  EXPECT_EQ(as<PlistNumber>(array.at(4))->doubleValue(), 0.5);
  EXPECT_EQ(array.at(5), PlistBoolean::of(true));
  EXPECT_EQ(array.at(6), PlistBoolean::of(false));
  EXPECT_EQ(as<PlistData>(array.at(7))->bytes()[2], 2);
  EXPECT_EQ(as<PlistDate>(array.at(8))->secondsSince1970(), 1);
}

TEST(PropertyListReader, GivesIntegersSubtype4AndRealsSubtype6) {
  EXPECT_EQ(valueOf<PlistNumber>(readElement("<integer>1</integer>")).subtype(), KorNumberSInt64Type);
  EXPECT_EQ(valueOf<PlistNumber>(readElement("<integer>1234567890123456789</integer>")).subtype(), KorNumberSInt64Type);
  EXPECT_EQ(valueOf<PlistNumber>(readElement("<real>1</real>")).subtype(), KorNumberFloat64Type);
}

TEST(PropertyListReader, ReadsIntegersOfEveryLength) {
  const auto read = [](std::string_view text) {
    return valueOf<PlistNumber>(readElement("<integer>" + std::string(text) + "</integer>")).int64Value();
  };
  EXPECT_EQ(read("0"), 0);
  EXPECT_EQ(read("-0"), 0);
  EXPECT_EQ(read("+5"), 5);
  EXPECT_EQ(read("999999999999999999"), 999999999999999999);
  EXPECT_EQ(read("-999999999999999999"), -999999999999999999);
  EXPECT_EQ(read("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(read("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(read("00000000000000000000001"), 1);
  EXPECT_EQ(read("&#49;<!-- one and -->2<![CDATA[3]]>"), 123);
}

TEST(PropertyListReader, TellsWhereAScalarGoesWrong) {
  EXPECT_EQ(mistakeInElement("<integer>12x</integer>"), "4:12 expected a decimal integer of at most 64 bits");
  EXPECT_EQ(mistakeInElement("<integer>9223372036854775808</integer>"),
            "4:28 expected a decimal integer of at most 64 bits");
  EXPECT_EQ(mistakeInElement("<integer></integer>"), "4:10 expected a decimal integer of at most 64 bits");
  EXPECT_EQ(mistakeInElement("<integer> 1</integer>"), "4:10 expected a decimal integer of at most 64 bits");
  EXPECT_EQ(mistakeInElement("<integer>&#49;x</integer>"), "4:10 expected a decimal integer of at most 64 bits");
  EXPECT_EQ(mistakeInElement("<real>1.5.</real>"), "4:10 expected a decimal number that a 64-bit float can hold");
  EXPECT_EQ(mistakeInElement("<real>1e999</real>"), "4:7 expected a decimal number that a 64-bit float can hold");
  EXPECT_EQ(mistakeInElement("<date>2026-02-29T00:00:00Z</date>"),
            "4:15 expected a date that exists, as YYYY-MM-DDThh:mm:ssZ");
  EXPECT_EQ(mistakeInElement("<data>AAE</data>"), "4:10 expected base64 digits in whole groups of four");
  EXPECT_EQ(mistakeInElement("<data>\nAA*=\n</data>"), "5:3 expected base64 digits in whole groups of four");
  EXPECT_EQ(mistakeInElement("<integer/>"), "4:1 expected a number or a date, not an empty element");
  EXPECT_EQ(mistakeInElement("<real />"), "4:1 expected a number or a date, not an empty element");
  EXPECT_EQ(mistakeInElement("<date/>"), "4:1 expected a number or a date, not an empty element");
}

TEST(PropertyListReader, ReadsEmptyElementsInEitherForm) {
  EXPECT_EQ(valueOf<PlistString>(readElement("<string/>")).length(), 0U);
  EXPECT_EQ(valueOf<PlistString>(readElement("<string></string>")).length(), 0U);
  EXPECT_EQ(valueOf<PlistData>(readElement("<data />")).length(), 0U);
  EXPECT_EQ(valueOf<PlistData>(readElement("<data>\n</data>")).length(), 0U);
  EXPECT_EQ(valueOf<PlistArray>(readElement("<array></array>")).count(), 0U);
  EXPECT_EQ(valueOf<PlistArray>(readElement("<array/>")).count(), 0U);
  EXPECT_EQ(valueOf<PlistDictionary>(readElement("<dict> </dict>")).count(), 0U);
  EXPECT_EQ(valueOf<PlistDictionary>(readElement("<dict/>")).count(), 0U);
  EXPECT_TRUE(valueOf<PlistBoolean>(readElement("<true></true>")).value());
  EXPECT_FALSE(valueOf<PlistBoolean>(readElement("<false ></false >")).value());
  EXPECT_FALSE(valueOf<PlistBoolean>(readElement("<false />")).value());
}

TEST(PropertyListReader, GivesSharedConstantsForBooleansAndEmptyContainers) {
  EXPECT_EQ(readElement("<true/>").get(), PlistBoolean::of(true));
  EXPECT_EQ(readElement("<dict/>")->referenceCount(), UINT32_MAX);
  EXPECT_EQ(readElement("<array></array>")->referenceCount(), UINT32_MAX);
}

TEST(PropertyListReader, TakesBlanksCommentsAndInstructionsBetweenElements) {
  const Ref<PlistValue> value = readDocument(
      "<plist  version = '1.0' >\r\n<!-- a --><dict\n><?b?><key >k</key > <!-- c --> <array ><!-- d --><true /><?e f?>"
      "</array ><!-- g --></dict ><!-- h --></plist >\n");
  EXPECT_EQ(as<PlistArray>(valueOf<PlistDictionary>(value).valueForKey("k"))->at(0), PlistBoolean::of(true));
}

TEST(PropertyListReader, TakesTheRootWithVersionOrWithout) {
  EXPECT_EQ(mistakeIn("<plist><true/></plist>"), "");
  EXPECT_EQ(mistakeIn("<plist ><true/></plist>"), "");
  EXPECT_EQ(mistakeIn("<plist version=\"2.0\"><true/></plist>"), "1:17 expected version 1.0 of the property list");
  EXPECT_EQ(mistakeIn("<plist version=\"\"><true/></plist>"), "1:17 expected version 1.0 of the property list");
  EXPECT_EQ(mistakeIn("<plist other=\"1\"><true/></plist>"), "1:8 expected > at the end of the tag");
  EXPECT_EQ(mistakeIn("<plist version=\"1.0\" version=\"1.0\"><true/></plist>"),
            "1:22 expected > at the end of the tag");
  EXPECT_EQ(mistakeIn("<plist version><true/></plist>"), "1:15 expected =");
  EXPECT_EQ(mistakeIn("<plistversion=\"1.0\"><true/></plist>"), "1:7 expected > at the end of the tag");
  EXPECT_EQ(mistakeIn("<plist/>"), "1:7 expected > at the end of the tag");
  EXPECT_EQ(mistakeIn("<PLIST><true/></PLIST>"), "1:1 expected the root element <plist>");
  EXPECT_EQ(mistakeIn("<true/>"), "1:1 expected the root element <plist>");
}

TEST(PropertyListReader, TakesExactlyOneValueInTheRoot) {
  EXPECT_EQ(mistakeIn("<plist></plist>"), "1:8 expected a value");
  EXPECT_EQ(mistakeIn("<plist> x</plist>"), "1:9 expected a value");
  EXPECT_EQ(mistakeIn("<plist><true/><true/></plist>"), "1:15 expected </plist>");
  EXPECT_EQ(mistakeIn("<plist><true/>x</plist>"), "1:15 expected </plist>");
  EXPECT_EQ(mistakeIn("<plist><key>a</key></plist>"), "1:8 expected a value");
  EXPECT_EQ(mistakeIn("<plist><plist><true/></plist></plist>"), "1:8 expected a value");
}

TEST(PropertyListReader, RefusesUnknownElementsAndAttributes) {
  EXPECT_EQ(mistakeInElement("<set/>"), "4:1 expected a value");
  EXPECT_EQ(mistakeInElement("<String>a</String>"), "4:1 expected a value");
  EXPECT_EQ(mistakeInElement("<>"), "4:1 expected a value");
  EXPECT_EQ(mistakeInElement("<string a=\"b\">c</string>"), "4:9 expected > at the end of the tag");
  EXPECT_EQ(mistakeInElement("<dict a=\"b\"/>"), "4:7 expected > at the end of the tag");
  EXPECT_EQ(mistakeInElement("<array><x/></array>"), "4:8 expected a value or </array>");
  EXPECT_EQ(mistakeInElement("<array>x</array>"), "4:8 expected a value or </array>");
  EXPECT_EQ(mistakeInElement("<array><![CDATA[ ]]></array>"), "4:8 expected a value or </array>");
  EXPECT_EQ(mistakeInElement("<array></dict>"), "4:8 expected a value or </array>");
  EXPECT_EQ(mistakeInElement("<array><key>a</key></array>"), "4:8 expected a value or </array>");
  EXPECT_EQ(mistakeInElement("<true>x</true>"), "4:7 expected </true>");
  EXPECT_EQ(mistakeInElement("<true></false>"), "4:7 expected </true>");
  EXPECT_EQ(mistakeInElement("</true>"), "4:1 expected a value");
  EXPECT_EQ(mistakeInElement("<true/ >"), "4:7 expected > at the end of the tag");
}

TEST(PropertyListReader, RefusesWhatIsNotPairsInADictionary) {
  EXPECT_EQ(mistakeInElement("<dict><true/></dict>"), "4:7 expected <key> or </dict>");
  EXPECT_EQ(mistakeInElement("<dict>x</dict>"), "4:7 expected <key> or </dict>");
  EXPECT_EQ(mistakeInElement("<dict></array>"), "4:7 expected <key> or </dict>");
  EXPECT_EQ(mistakeInElement("<dict><key>a</key></dict>"), "4:19 expected a value");
  EXPECT_EQ(mistakeInElement("<dict><key>a</key><key>b</key></dict>"), "4:19 expected a value");
  EXPECT_EQ(mistakeInElement("<dict><key>a</key>x<true/></dict>"), "4:19 expected a value");
  EXPECT_EQ(mistakeInElement("<dict></key></dict>"), "4:7 expected <key> or </dict>");
}

TEST(PropertyListReader, RefusesDuplicateKeysHoweverTheyAreWritten) {
  EXPECT_EQ(mistakeInElement("<dict><key>a</key><true/>\n<key>a</key><true/></dict>"),
            "5:1 a key that the dictionary already has");
  EXPECT_EQ(mistakeInElement("<dict><key>b</key><true/><key>a</key><true/>\n <key>&#98;</key><true/></dict>"),
            "5:2 a key that the dictionary already has");
  EXPECT_EQ(mistakeInElement("<dict><key/><true/><key></key><true/></dict>"),
            "4:20 a key that the dictionary already has");
}

TEST(PropertyListReader, TakesTheSameKeyInDifferentDictionaries) {
  EXPECT_EQ(mistakeInElement("<array><dict><key>a</key><dict><key>a</key><true/></dict></dict>"
                             "<dict><key>a</key><true/></dict></array>"),
            "");
}

TEST(PropertyListReader, CountsLinesByEveryLineEnd) {
  EXPECT_EQ(mistakeIn("\r\n\r\n\n\r  x"), "5:3 expected the root element <plist>");
  EXPECT_EQ(mistakeIn("<!--é-->x"), "1:10 expected the root element <plist>");
  EXPECT_EQ(mistakeIn(""), "1:1 expected the root element <plist>");
  EXPECT_EQ(mistakeIn("\n"), "2:1 expected the root element <plist>");
}

TEST(PropertyListReader, LeavesTheErrorAloneWhenThereIsNone) {
  PropertyListError error{7, 8, "before"};
  EXPECT_TRUE(createPropertyList(bytesOf("<plist><true/></plist>"), &error));
  EXPECT_EQ(error.line, 7U);
  EXPECT_EQ(error.message, "before");
  EXPECT_FALSE(createPropertyList({}));
}

TEST(PropertyListReader, NestsToTheLimitAndNotOneDeeper) {
  const std::size_t limit = limits::propertyListNesting;
  for (const auto& [open, close] : {std::pair{"<array>", "</array>"}, std::pair{"<dict><key>k</key>", "</dict>"},
                                    std::pair{"<array >", "</array >"}}) {
    const std::string deepest = repeated(open, limit - 1) + "<dict/>" + repeated(close, limit - 1);
    EXPECT_EQ(mistakeInElement(deepest), "");
    EXPECT_EQ(mistakeInElement(repeated(open, limit) + "<true/>" + repeated(close, limit)), "");
    const std::string column = std::to_string(limit * std::string_view(open).size() + 1);
    EXPECT_EQ(mistakeInElement(repeated(open, limit) + "<array/>" + repeated(close, limit)),
              "4:" + column + " containers nested too deep");
    EXPECT_EQ(mistakeInElement(repeated(open, limit + 1)).substr(0, 2), "4:");
  }
}

TEST(PropertyListReader, RefusesADocumentCutAnywhere) {
  const std::string document =
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\" standalone='yes'?>\r\n<!-- é --><?p i?>\n"
      "<!DOCTYPE plist PUBLIC \"-//E//EN\" \"x\">\n<plist version=\"1.0\">\n<dict>\n\t<key>a&amp;b</key>\n\t<array>\n"
      "<string>text é &#x1F600; <![CDATA[<&]]> <!-- c --> \r\n</string><string/><integer>-12</integer>"
      "<integer>9223372036854775807</integer><real>1.5e-3</real><real>nan</real><true/><false></false><true />"
      "<data>AAEC Aw==</data><date>2024-02-29T12:00:00Z</date><dict/><array></array></array>\n\t<key/>\n"
      "<dict><key>k</key><string >v</string ></dict></dict>\n</plist>";
  ASSERT_EQ(mistakeIn(document), "");
  for (std::size_t length = 0; length < document.size(); ++length) {
    // Memory of exactly this size, so that address checkers see a step too far.
    const std::vector<std::uint8_t> cut(document.begin(), document.begin() + static_cast<std::ptrdiff_t>(length));
    PropertyListError error;
    ASSERT_FALSE(createPropertyList(cut, &error)) << length;
    ASSERT_GE(error.line, 1U);
    ASSERT_GE(error.column, 1U);
    ASSERT_FALSE(error.message.empty());
  }
}

TEST(PropertyListReader, KeepsTheDocumentAsLongAsOneValueIsKept) {
  Ref<PlistString> kept;
  {
    const Ref<PlistValue> value =
        readElement("<dict><key>a</key><string>kept text</string><key>b</key><array><true/></array></dict>");
    EXPECT_EQ(value->referenceCount(), 1U);
    kept = Ref<PlistString>::share(as<PlistString>(valueOf<PlistDictionary>(value).valueForKey("a")));
    EXPECT_EQ(value->referenceCount(), 2U);
  }
  EXPECT_EQ(kept->referenceCount(), 1U);
  EXPECT_EQ(kept->text(), "kept text");
}

TEST(PropertyListReader, ValuesOutliveTheBytesTheyWereReadFrom) {
  std::string document = "<plist><array><string>plain</string><data>AAEC</data></array></plist>";
  const Ref<PlistValue> value = readDocument(document);
  document.assign(document.size(), 'x');
  EXPECT_EQ(as<PlistString>(valueOf<PlistArray>(value).at(0))->text(), "plain");
}

TEST(PropertyListReader, ReadsLargeDocuments) {
  std::string document = "<plist><array>";
  for (int index = 0; index < 100'000; ++index) {
    document += "<dict><key>Index</key><integer>" + std::to_string(index) + "</integer><key>Name</key><string>";
    document += std::string(static_cast<std::size_t>(index % 50), 'x') + "</string></dict>";
  }
  const std::string large(3'000'000, 'y');
  document += "<string>" + large + "</string></array></plist>";
  const Ref<PlistValue> value = readDocument(document);
  const PlistArray& array = valueOf<PlistArray>(value);
  ASSERT_EQ(array.count(), 100'001U);
  for (int index = 0; index < 100'000; ++index) {
    const auto* entry = as<PlistDictionary>(array.at(static_cast<std::size_t>(index)));
    ASSERT_EQ(as<PlistNumber>(entry->valueForKey("Index"))->int64Value(), index);
    ASSERT_EQ(as<PlistString>(entry->valueForKey("Name"))->length(), static_cast<std::size_t>(index % 50));
  }
  EXPECT_EQ(as<PlistString>(array.at(100'000))->text(), large);
}

TEST(PropertyListReader, ReadsADictionaryOfManyKeysInAnyOrder) {
  std::vector<int> order(20'000);
  for (int index = 0; index < 20'000; ++index) order[static_cast<std::size_t>(index)] = index;
  std::shuffle(order.begin(), order.end(), std::mt19937(6));
  std::string document = "<plist><dict>";
  for (const int index : order) {
    document += "<key>key " + std::to_string(index) + "</key><integer>" + std::to_string(index) + "</integer>";
  }
  const Ref<PlistValue> value = readDocument(document + "</dict></plist>");
  for (const int index : order) {
    const Object* number = valueOf<PlistDictionary>(value).valueForKey("key " + std::to_string(index));
    ASSERT_EQ(static_cast<const PlistNumber*>(number)->int64Value(), index);
  }
  const std::string again = document + "<key>key 7</key><true/></dict></plist>";
  EXPECT_EQ(mistakeIn(again), "1:" + std::to_string(document.size() + 1) + " a key that the dictionary already has");
}

TEST(PropertyListReader, JudgesTheSampleFilesAsTheirNamesSay) {
  int accepted = 0;
  int refused = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VANTO_PROPERTY_LIST_SAMPLES)) {
    const std::string name = entry.path().filename().string();
    const std::string mistake = mistakeIn(contentsOf(entry.path()));
    if (name.starts_with("accept-")) {
      ++accepted;
      EXPECT_EQ(mistake, "") << name;
    } else {
      ++refused;
      EXPECT_TRUE(name.starts_with("refuse-")) << name;
      EXPECT_NE(mistake, "") << name;
    }
  }
  EXPECT_GE(accepted, 20);
  EXPECT_GE(refused, 50);
}

}  // namespace
}  // namespace vanto

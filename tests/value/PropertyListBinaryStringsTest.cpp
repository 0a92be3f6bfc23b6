// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListBinaryStrings.h"

#include <gtest/gtest.h>

#include <string>

#include "support/BinaryDocument.h"
#include "support/PropertyLists.h"
#include "value/PropertyListBinary.h"

namespace vanto {
namespace {

using namespace testing;
using namespace std::string_literals;
using namespace std::string_view_literals;

/// Reads the table of a document, and nothing else of it.
class Table {
 public:
  explicit Table(const BinaryDocument& document) : bytes_(document.bytes()) {
    const std::uint8_t* begin = bytesOf(bytes_).data();
    source_ = {begin, begin + bytes_.size(), static_cast<std::size_t>(bytes_[binary::headerBytes - 1])};
    behind_ = strings.read(source_, begin + binary::headerBytes, block_);
  }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() { block_.release(); }

  [[nodiscard]] bool isRead() const { return behind_ == source_.end; }
  /// Where and why the table is refused; the place is relative to the table.
  [[nodiscard]] std::string mistake() const {
    if (behind_ != nullptr) return "";
    return std::to_string(source_.mistake - source_.begin - std::ptrdiff_t{binary::headerBytes}) + " " +
           source_.message;
  }
  [[nodiscard]] std::ptrdiff_t placeOf(const std::uint8_t* at) const {
    return at - source_.begin - std::ptrdiff_t{binary::headerBytes};
  }

  PropertyListBinaryStrings strings;

 private:
  std::string bytes_;
  PropertyListBinarySource source_{};
  ObjectBlock& block_ = ObjectBlock::create(100);
  const std::uint8_t* behind_ = nullptr;
};

TEST(PropertyListBinaryStrings, GivesEachTextByItsIndex) {
  Table table(BinaryDocument({"", "a", "a\0b"s, "é€😀"}));
  ASSERT_TRUE(table.isRead());
  ASSERT_EQ(table.strings.count(), 4U);
  EXPECT_EQ(table.strings.use(0)->text(), "");
  EXPECT_EQ(table.strings.use(1)->text(), "a");
  EXPECT_EQ(table.strings.use(2)->text(), "a\0b"s);
  EXPECT_EQ(table.strings.use(3)->text(), "é€😀");
  EXPECT_EQ(table.strings.use(3)->utf8()[9], '\0');
  EXPECT_EQ(table.strings.use(1), table.strings.use(1));
}

TEST(PropertyListBinaryStrings, MayBeEmpty) {
  Table table(BinaryDocument{});
  EXPECT_TRUE(table.isRead());
  EXPECT_EQ(table.strings.count(), 0U);
  EXPECT_EQ(table.strings.unused(), nullptr);
}

TEST(PropertyListBinaryStrings, FindsTheFirstTextThatNobodyUsed) {
  Table table(BinaryDocument({"a", "bcd", "e"}));
  EXPECT_EQ(table.placeOf(table.strings.unused()), 4);
  static_cast<void>(table.strings.use(0));
  static_cast<void>(table.strings.use(2));
  EXPECT_EQ(table.placeOf(table.strings.unused()), 6);
  static_cast<void>(table.strings.use(1));
  EXPECT_EQ(table.strings.unused(), nullptr);
}

TEST(PropertyListBinaryStrings, TakesTextsInAscendingOrderOnly) {
  EXPECT_EQ(Table(BinaryDocument({"b", "a"})).mistake(), "5 expected a text behind the one before");
  EXPECT_EQ(Table(BinaryDocument({"a", "a"})).mistake(), "5 expected a text behind the one before");
  EXPECT_EQ(Table(BinaryDocument({"ab", "a"})).mistake(), "6 expected a text behind the one before");
  EXPECT_EQ(Table(BinaryDocument({"a\0"s, "a"})).mistake(), "6 expected a text behind the one before");
  EXPECT_EQ(Table(BinaryDocument({"é", "z"})).mistake(), "6 expected a text behind the one before");
  EXPECT_EQ(Table(BinaryDocument({"", ""})).mistake(), "4 expected a text behind the one before");
}

TEST(PropertyListBinaryStrings, TakesWellFormedUTF8Only) {
  for (const std::string& text : {"\x80"s, "\xC3"s, "\xC0\x80"s, "\xED\xA0\x80"s, "\xF4\x90\x80\x80"s, "\xFF"s}) {
    EXPECT_EQ(Table(BinaryDocument({"a", "b" + text, "c"})).mistake(), "6 expected UTF-8");
  }
  // Two halves of a character.
  EXPECT_EQ(Table(BinaryDocument({"a\xC3", "\xA9"})).mistake(), "3 expected UTF-8");
}

TEST(PropertyListBinaryStrings, TakesTextsWithANULBehindThemOnly) {
  const auto table = [](std::string_view bytes) {
    return Table(BinaryDocument::withoutTable().text(bytes)).mistake();
  };
  EXPECT_EQ(table("\1\1a\0"sv), "");
  EXPECT_EQ(table("\1\1ab"sv), "3 expected a NUL behind the text");
  EXPECT_EQ(table("\2\1\1a\0bc"sv), "6 expected a NUL behind the text");
}

TEST(PropertyListBinaryStrings, BelievesNoCountOrLengthWithoutBytes) {
  const auto table = [](unsigned width, std::string_view bytes) {
    return Table(BinaryDocument::withoutTable(width).text(bytes)).mistake();
  };
  EXPECT_EQ(table(1, ""), "0 expected more bytes");
  EXPECT_EQ(table(1, "\1"), "0 expected fewer strings than bytes");
  EXPECT_EQ(table(1, "\1\0"sv), "0 expected fewer strings than bytes");
  EXPECT_EQ(table(1, "\1\1\0"sv), "1 expected a text that ends within the bytes");
  EXPECT_EQ(table(1, "\2\1\1a\0b"sv), "2 expected a text that ends within the bytes");
  EXPECT_EQ(table(4, "\xFF\xFF\xFF\xFF"), "0 expected fewer strings than bytes");
  EXPECT_EQ(table(4, "\1\0\0\0\xFF\xFF\xFF\xFF\0\0"sv), "4 expected a text that ends within the bytes");
}

}  // namespace
}  // namespace vanto

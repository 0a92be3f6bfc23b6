// SPDX-License-Identifier: Apache-2.0
#include "vanto/Columns.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"

namespace vanto::tool {
namespace {

using testing::CapturedConsole;
using testing::plainTerminal;

TEST(Columns, AlignsWhatWasFitted) {
  Columns columns;
  columns.fit({"a", "世界", "c"});
  columns.fit({"long", "b", "c"});
  EXPECT_EQ(columns.line({"a", "世界", "c"}, {}), "a     世界  c");
  EXPECT_EQ(columns.line({"long", "b", "c"}, {}), "long  b     c");
}

TEST(Columns, LetsARowThatWasNotFittedOverflow) {
  Columns columns;
  columns.fit({"a", "b"});
  EXPECT_EQ(columns.line({"longer", "b"}, {}), "longer  b");
}

TEST(Columns, LeavesNoBlanksAtTheEnd) {
  Columns columns;
  columns.fit({"a", "b"});
  EXPECT_EQ(columns.line({"a", ""}, {}), "a");
  EXPECT_EQ(columns.line({}, {}), "");
}

TEST(Columns, CutsTheLastCellOnATerminalOnly) {
  Columns columns;
  const Row row{"identifier", std::string(100, 'x')};
  columns.fit(row);
  EXPECT_EQ(columns.line(row, plainTerminal).size(), 80U + 2);  // the ellipsis has three bytes
  EXPECT_EQ(columns.line(row, {}).size(), 112U);
}

TEST(Columns, LetsALineWrapRatherThanCutItToAStump) {
  Columns columns;
  const Row row{std::string(9, 'i'), std::string(9, 'x')};
  EXPECT_EQ(columns.line(row, {true, false, 12}), "ii…iiiii  xx…xxxxx");
}

TEST(Columns, LeavesHalfOfATerminalToTheOtherCells) {
  Columns columns;
  const Row longest{std::string(100, 'i'), "b"};
  columns.fit(longest);
  EXPECT_EQ(columns.line(longest, plainTerminal), std::string(13, 'i') + "…" + std::string(26, 'i') + "  b");
  EXPECT_EQ(columns.line({"a", "b"}, plainTerminal), "a" + std::string(41, ' ') + "b");
  EXPECT_EQ(columns.line(longest, {}), std::string(100, 'i') + "  b");
}

TEST(Columns, AreNoWiderForOneCellOfManyBytes) {
  Columns columns;
  columns.fit({std::string(std::size_t{1} << 20, 'i'), "b"});
  EXPECT_EQ(columns.line({"a", "b"}, {}), "a" + std::string(201, ' ') + "b");
}

TEST(Columns, PrintATable) {
  CapturedConsole captured;
  printTable(captured.console(), {"ONE", "TWO"}, {{"1", "22"}, {"1111", ""}});
  EXPECT_EQ(captured.output(), "ONE   TWO\n1     22\n1111\n");
}

}  // namespace
}  // namespace vanto::tool

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
  const Row row{std::string(100, 'i'), std::string(10, 'x')};
  EXPECT_EQ(columns.line(row, plainTerminal).size(), 112U);
}

TEST(Columns, PrintATable) {
  CapturedConsole captured;
  printTable(captured.console(), {"ONE", "TWO"}, {{"1", "22"}, {"1111", ""}});
  EXPECT_EQ(captured.output(), "ONE   TWO\n1     22\n1111\n");
}

}  // namespace
}  // namespace vanto::tool

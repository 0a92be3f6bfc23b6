// SPDX-License-Identifier: Apache-2.0
#include "vanto/LogLine.h"

#include <gtest/gtest.h>

#include "programs/vanto/FakeManager.h"
#include "vanto/LocalTime.h"

namespace vanto::tool {
namespace {

TEST(LogLine, HasTimeProcessAndVisibleText) {
  const test::Held object = testing::objectOf(
      R"({"lines": [{"time": 5, "pid": 12, "text": "a\u001b[2Jb"}, {"time": 6, "pid": 13, "text": ""}]})");
  ReplyReader reader(object);
  const std::vector<LogLine> lines = LogLine::readAll(reader);
  EXPECT_EQ(reader.problem(), "");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].line(), localTimeText(5) + "  12  a\\x1b[2Jb");
  EXPECT_EQ(lines[1].pid, 13);
}

TEST(LogLine, IsNotReadOfAnythingElse) {
  const test::Held object = testing::objectOf(R"({"lines": [{"time": 5, "pid": "1", "text": "a"}]})");
  ReplyReader reader(object);
  static_cast<void>(LogLine::readAll(reader));
  EXPECT_EQ(reader.problem(), "no int64 \"pid\" in \"lines\"[0]");
}

}  // namespace
}  // namespace vanto::tool

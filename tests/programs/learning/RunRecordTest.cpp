// SPDX-License-Identifier: Apache-2.0
#include "learning/RunRecord.h"

#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::traced;

class RunRecordTest : public ::testing::Test {
 protected:
  RunRecordTest() { EXPECT_TRUE(record_.processes.isKnown(5)); }

  std::optional<std::string> pathAt(const char* call) {
    const std::string text = traced(call);
    return record_.pathAt(*TraceLine::of(text), 1);
  }

  RunRecord record_{"/w"};
};

TEST_F(RunRecordTest, SeesPathsFromTheDirectoryThatIsNamed) {
  EXPECT_EQ(pathAt("5 mkdirat(3</d>, \"a\", 0777) = 0"), "/d/a");
  EXPECT_EQ(pathAt("5 mkdirat(3</d>, \"/a\", 0777) = 0"), "/a");
  EXPECT_EQ(pathAt("5 mkdirat(-100, \"a\", 0777) = 0"), "/w/a");
  EXPECT_EQ(pathAt("5 mkdirat(-100</v>, \"a\", 0777) = 0"), "/v/a");
  EXPECT_EQ(record_.processes.absolute(5, "b"), "/v/b");
  EXPECT_TRUE(record_.facts.remarks.empty());
}

TEST_F(RunRecordTest, SaysWhatItCannotRead) {
  EXPECT_EQ(pathAt("5 mkdirat(3</d>, 0x7ffe, 0777) = 0"), std::nullopt);
  EXPECT_EQ(pathAt("5 mkdirat(3, \"a\", 0777) = 0"), std::nullopt);
  EXPECT_EQ(record_.facts.remarks.count("what mkdirat was called with could not be read, so nothing is allowed for it"),
            1U);
}

TEST_F(RunRecordTest, NamesProcessesInAWayThatHoldsNextTime) {
  record_.use("/proc/5/maps", Right::Read);
  record_.use("/proc/cpuinfo", Right::Read);
  EXPECT_TRUE(record_.facts.remarks.empty());
  record_.use("/proc/6/maps", Right::Read);
  EXPECT_TRUE(record_.facts.used.contains("/proc/self/maps"));
  EXPECT_TRUE(record_.facts.used.contains("/proc/cpuinfo"));
  EXPECT_TRUE(record_.facts.used.contains("/proc"));
  EXPECT_EQ(record_.facts.used.size(), 3U);
  EXPECT_EQ(record_.facts.remarks.size(), 1U);
}

}  // namespace
}  // namespace vanto::learning

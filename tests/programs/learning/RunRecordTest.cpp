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
    const auto line = TraceLine::of(text);
    record_.takePlaces(*line);
    return record_.pathAt(*line, 1);
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
  record_.use("/proc/6/maps", Right::Read);
  EXPECT_TRUE(record_.facts.used.contains("/proc/self/maps"));
  EXPECT_TRUE(record_.facts.used.contains("/proc/cpuinfo"));
  EXPECT_EQ(record_.facts.used.size(), 2U);
  EXPECT_EQ(record_.facts.ofOtherProcesses, Right::Read);
  record_.list("/proc/6/task");
  EXPECT_TRUE(record_.facts.used.contains("/proc"));
}

TEST_F(RunRecordTest, KnowsWhereADescriptorLeadsThatAPathGoesThrough) {
  EXPECT_EQ(pathAt("5 mkdirat(3</d>, \"/proc/self/fd/3/a\", 0777) = 0"), "/d/a");
  EXPECT_EQ(pathAt("5 mkdirat(4</proc/5/fd>, \"3/b\", 0777) = 0"), "/d/b");
  EXPECT_EQ(pathAt("5 mkdirat(4</d>, \"/proc/self/fd/5/a\", 0777) = 0"), std::nullopt);
  EXPECT_EQ(record_.facts.remarks.size(), 1U);
}

TEST_F(RunRecordTest, TakesADescriptorWithoutAPathForOneThatLeadsNowhere) {
  for (const char* nowhere : {"3<TCP:[1]>", "3</memfd:x>(deleted)", "3</proc/self/fd/3>"}) {
    EXPECT_EQ(pathAt("5 mkdirat(3</d>, \"/dev/fd/3\", 0777) = 0"), "/d");
    const std::string call = std::string("5 mkdirat(") + nowhere + ", \"/dev/fd/3\", 0777) = 0";
    EXPECT_EQ(pathAt(call.c_str()), std::nullopt) << nowhere;
  }
}

TEST_F(RunRecordTest, TellsNamesOfSocketsFromAllOthers) {
  record_.makeSocket("/w/a");
  record_.makeSocket("/w/a");
  record_.makeSocket("/w/b");
  record_.make("/w/b");
  record_.make("/w/c");
  record_.makeSocket("/w/c");
  record_.openOrMake("/w/d");
  record_.makeSocket("/w/d");
  record_.makeSocket("/w/e");
  record_.openOrMake("/w/e");
  EXPECT_EQ(record_.facts.sockets, std::set<std::string>{"/w/a"});
  EXPECT_EQ(record_.facts.made, (std::set<std::string>{"/w/a", "/w/b", "/w/c", "/w/d", "/w/e"}));
}

TEST_F(RunRecordTest, TellsWhatMayHaveBeenADirectory) {
  record_.remove("/w/a");
  record_.removeDirectory("/w/b");
  EXPECT_EQ(record_.facts.removed, (std::set<std::string>{"/w/a", "/w/b"}));
  EXPECT_EQ(record_.facts.removedDirectories, std::set<std::string>{"/w/b"});
}

}  // namespace
}  // namespace vanto::learning

// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileCheckCommand.h"

#include "programs/vanto/ProfileFixture.h"

namespace vanto::tool {
namespace {

using testing::runTool;
using testing::ToolRun;

class ProfileCheckCommandTest : public testing::ProfileFixture {};

TEST_F(ProfileCheckCommandTest, SaysWhatEachKernelLeavesOpen) {
  const ToolRun run = runTool({"profile", "check", profile("require socket\n")});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output,
            "FROM LINUX  REMARK                        LEFT OPEN\n"
            "older       not entered: no Landlock      read write create remove truncate rename execute ioctl socket "
            "bind connect network abstract signal processes system\n"
            "5.13        not entered: requires socket  truncate ioctl socket abstract signal\n"
            "6.2         not entered: requires socket  ioctl socket abstract signal\n"
            "6.10        not entered: requires socket  socket abstract signal\n"
            "6.12        not entered: requires socket  socket\n"
            "7.1                                       -\n");
}

TEST_F(ProfileCheckCommandTest, PrintsErrorsWithLineAndColumn) {
  const ToolRun run = runTool({"profile", "check", profile("version 1\nallow  read x\n")});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(shortened(run.output), "DIR/a.sb:2:13: error: the path \"x\" is relative; write an absolute path\n");
}

TEST_F(ProfileCheckCommandTest, CountsNotesAsFine) {
  const ToolRun run = runTool({"profile", "check", profile("allow read /nowhere\n")});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_NE(run.output.find("a.sb:1:12: note: there is no /nowhere here"), run.output.npos) << run.output;
}

TEST_F(ProfileCheckCommandTest, PrintsJsonForScripts) {
  const ToolRun bad = runTool({"profile", "check", "--json", profile("nonsense\n")});
  EXPECT_EQ(bad.status, ExitStatus::Found);
  EXPECT_NE(bad.output.find("\"line\": 1"), bad.output.npos) << bad.output;
  EXPECT_NE(bad.output.find("\"kernels\": []"), bad.output.npos) << bad.output;
  const ToolRun good = runTool({"profile", "check", "--json", profile("allow rename,create /tmp\n")});
  EXPECT_EQ(good.status, ExitStatus::Fine);
  EXPECT_NE(good.output.find("\"linux\": \"7.1\""), good.output.npos) << good.output;
  EXPECT_NE(good.output.find("\"entered\": false"), good.output.npos) << good.output;
  EXPECT_NE(good.output.find("\"entered\": true"), good.output.npos) << good.output;
  EXPECT_NE(good.output.find("\"refused\": [\n        \"rename\"\n      ]"), good.output.npos) << good.output;
}

TEST_F(ProfileCheckCommandTest, FillsParametersFromABundle) {
  const std::string file = profile("allow read ${VantoService_path}\n");
  const ToolRun run = runTool({"profile", "check", "--bundle", bundle_.path(), file});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output.find("note"), run.output.npos) << run.output;
}

TEST_F(ProfileCheckCommandTest, FailsForWhatCannotBeRead) {
  EXPECT_EQ(runTool({"profile", "check", directory_ / "none"}).status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"profile", "check", "--bundle", directory_ / "none", profile("")}).status, ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool

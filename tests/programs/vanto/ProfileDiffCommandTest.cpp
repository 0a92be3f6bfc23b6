// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileDiffCommand.h"

#include <filesystem>

#include "programs/vanto/ProfileFixture.h"

namespace vanto::tool {
namespace {

using testing::runTool;
using testing::ToolRun;

class ProfileDiffCommandTest : public testing::ProfileFixture {
 protected:
  ToolRun diff(const std::string& older, const std::string& newer) const {
    ToolRun run = runTool({"profile", "diff", profile(older, "old.sb"), profile(newer, "new.sb")});
    run.output = shortened(run.output);
    // Columns are as wide as the directory's path makes them.
    while (run.output.find("  ") != run.output.npos) run.output.erase(run.output.find("  "), 1);
    return run;
  }
};

TEST_F(ProfileDiffCommandTest, TellsWhatIsNewlyAllowedAndDenied) {
  const ToolRun run = diff("allow read /a\n", "\nallow connect tcp 80\n");
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.output,
            "CHANGE RIGHT LINE WHERE\n"
            "newly allowed connect DIR/new.sb:2 80\n"
            "newly denied read DIR/old.sb:1 /a\n");
}

TEST_F(ProfileDiffCommandTest, IsFineWhenNothingIsNewlyAllowed) {
  EXPECT_EQ(diff("allow signal\n", "").status, ExitStatus::Fine);
  EXPECT_EQ(diff("", "require read\n").status, ExitStatus::Fine);
  const ToolRun same = diff("allow read /a /b\n", "allow read /b # b\nallow read /a\n");
  EXPECT_EQ(same.status, ExitStatus::Fine);
  EXPECT_EQ(same.output + same.messages, "");
}

TEST_F(ProfileDiffCommandTest, FollowsLinksOnBothSides) {
  std::filesystem::create_directory(directory_ / "real");
  std::filesystem::create_directory_symlink(directory_ / "real", directory_ / "link");
  const std::string link = "allow read " + directory_ / "link" + "\n";
  const std::string real = "allow read " + directory_ / "real" + "\n";
  EXPECT_EQ(diff(link, real).output + diff(real, link).output, "");
  EXPECT_EQ(diff(link + "allow write " + directory_ / "link/x\n", real).output,
            "CHANGE RIGHT LINE WHERE\nnewly denied write DIR/old.sb:2 DIR/real/x\n"
            "newly denied truncate DIR/old.sb:2 DIR/real/x\n");
}

TEST_F(ProfileDiffCommandTest, TakesADroppedRequirementForAnOpening) {
  const ToolRun run = diff("require read\n", "");
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.output, "CHANGE RIGHT LINE WHERE\nno longer required read DIR/old.sb -\n");
}

TEST_F(ProfileDiffCommandTest, SaysWhenAParameterMayHideThatNothingChanged) {
  EXPECT_EQ(
      diff("allow read /a\n", "allow read ${VantoService_home}/a\n").messages,
      "vanto: what VantoService_home stands for is not known, so some of it may be no change; say with --bundle\n");
}

TEST_F(ProfileDiffCommandTest, FailsForAProfileWithErrors) {
  const ToolRun run = diff("", "nonsense\n");
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_NE(run.messages.find("new.sb:1:1: unknown statement"), run.messages.npos) << run.messages;
}

}  // namespace
}  // namespace vanto::tool

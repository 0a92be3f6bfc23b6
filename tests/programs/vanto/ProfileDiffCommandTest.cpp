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

TEST_F(ProfileDiffCommandTest, LeavesOutWhatIsBehindLinksThatTheServiceCanMake) {
  std::filesystem::create_directory(directory_ / "own");
  std::filesystem::create_directory_symlink("/usr", directory_ / "own/link");
  const std::string read = "allow read " + directory_ / "own/link" + "\n";
  const std::string create = "allow create " + directory_ / "own" + "\n";
  const ToolRun added = diff(create, create + read);
  EXPECT_EQ(added.status, ExitStatus::Fine);
  EXPECT_EQ(added.output, "");
  EXPECT_EQ(shortened(added.messages),
            "vanto: DIR/new.sb:2: DIR/own/link gets no rule: the profile lets links be made where DIR/own/link is, so "
            "that it is not followed\n");
  const ToolRun lost = diff(read, read + create);
  EXPECT_EQ(lost.status, ExitStatus::Found);
  EXPECT_EQ(lost.output,
            "CHANGE RIGHT LINE WHERE\nnewly allowed create DIR/new.sb:2 DIR/own\n"
            "newly denied read DIR/old.sb:1 /usr\n");
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

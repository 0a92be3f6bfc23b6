// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheWriteCommand.h"

#include <filesystem>

#include "programs/vanto/ServiceFixture.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::runTool;
using testing::ToolRun;

class CacheWriteCommandTest : public testing::ServiceFixture {
 protected:
  const std::string file_ = directory_ / "cache";
};

TEST_F(CacheWriteCommandTest, WritesWhatIsShown) {
  EXPECT_EQ(runTool({"cache", "write", file_, directory_.path()}).status, ExitStatus::Fine);
  EXPECT_EQ(shortened(runTool({"cache", "show", file_}).output),
            "IDENTIFIER     TYPE  BUNDLE\norg.example.a  User  DIR/A.vanto\n");
}

TEST_F(CacheWriteCommandTest, RemembersItsPlaces) {
  ASSERT_EQ(runTool({"cache", "write", file_, directory_.path()}).status, ExitStatus::Fine);
  BundleBuilder(directory_.path(), "B.vanto").identifier("b").service().build();
  EXPECT_EQ(runTool({"cache", "write", file_}).status, ExitStatus::Fine);
  EXPECT_NE(runTool({"cache", "show", file_}).output.find("B.vanto"), std::string::npos);
}

TEST_F(CacheWriteCommandTest, NeedsPlacesForTheFirstTime) {
  const ToolRun run = runTool({"cache", "write", file_});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(CacheWriteCommandTest, MakesRelativePlacesAbsolute) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  EXPECT_EQ(runTool({"cache", "write", "cache", "A.vanto"}).status, ExitStatus::Fine);
  std::filesystem::current_path(before);
  EXPECT_EQ(runTool({"cache", "check", file_}).status, ExitStatus::Fine);
}

TEST_F(CacheWriteCommandTest, LeavesOutBadBundlesAndTells) {
  BundleBuilder(directory_.path(), "B.vanto").info("x").build();
  const ToolRun run = runTool({"cache", "write", file_, directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_NE(run.messages.find("B.vanto"), run.messages.npos);
  EXPECT_EQ(runTool({"cache", "show", file_}).output.find("B.vanto"), std::string::npos);
}

TEST_F(CacheWriteCommandTest, KeepsTheOldFileWhenAPlaceIsGone) {
  ASSERT_EQ(runTool({"cache", "write", file_, directory_.path()}).status, ExitStatus::Fine);
  const ToolRun run = runTool({"cache", "write", file_, directory_ / "none", directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"cache", "check", file_}).status, ExitStatus::Fine);
}

TEST_F(CacheWriteCommandTest, WritesNoBinaryToATerminal) {
  EXPECT_EQ(runTool({"cache", "write", "-", directory_.path()}, testing::plainTerminal).status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"cache", "write", "-", directory_.path()}).status, ExitStatus::Fine);
}

TEST_F(CacheWriteCommandTest, WritesTheSameBytesForTheSameServices) {
  EXPECT_EQ(runTool({"cache", "write", "-", directory_.path()}).output,
            runTool({"cache", "write", "-", directory_.path()}).output);
}

}  // namespace
}  // namespace vanto::tool

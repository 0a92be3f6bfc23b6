// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileShowCommand.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"
#include "sandbox/BaseProfiles.h"

namespace vanto::tool {
namespace {

using testing::runTool;

TEST(ProfileShowCommand, ListsBaseProfilesAndPrintsThem) {
  EXPECT_EQ(runTool({"profile", "show"}).output, "base\nnetwork-client\ntemporary\n");
  EXPECT_EQ(runTool({"profile", "show", "temporary"}).output, baseProfileNamed("temporary")->text);
}

TEST(ProfileShowCommand, FailsForOneThatThereIsNot) {
  const testing::ToolRun run = runTool({"profile", "show", "\x1b"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages, "vanto: \\x1b: there is no such base profile; vanto profile show lists them\n");
}

}  // namespace
}  // namespace vanto::tool

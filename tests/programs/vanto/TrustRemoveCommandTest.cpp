// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustRemoveCommand.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

using TrustRemoveCommandTest = testing::CodeFixture;

TEST_F(TrustRemoveCommandTest, TakesTheKeyAway) {
  trustAcme();
  const ToolRun run = runCodeTool({"trust", "remove", "acme"});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  EXPECT_FALSE(std::filesystem::exists(trustPath_ + "/acme.plist"));
  EXPECT_EQ(runCodeTool({"trust", "remove", "acme"}).messages,
            "vanto: " + trustPath_ + "/acme.plist: cannot be removed: No such file or directory\n");
}

TEST_F(TrustRemoveCommandTest, TakesNothingElseAway) {
  testing::writeContents(directory_ / "x.plist", "x");
  trustAcme();
  EXPECT_EQ(runCodeTool({"trust", "revoke", "acme"}).status, ExitStatus::Fine);
  for (const char* name : {"../../x", "revoked"}) {
    EXPECT_EQ(runCodeTool({"trust", "remove", name}).status, ExitStatus::Failed) << name;
  }
  EXPECT_TRUE(std::filesystem::exists(directory_ / "x.plist"));
  EXPECT_TRUE(std::filesystem::exists(trustPath_ + "/revoked.plist"));
}

}  // namespace
}  // namespace vanto::tool

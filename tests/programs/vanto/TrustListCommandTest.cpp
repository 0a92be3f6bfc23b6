// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustListCommand.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

using TrustListCommandTest = testing::CodeFixture;

TEST_F(TrustListCommandTest, HasARowForEachKeyAndRevocation) {
  trustAcme();
  std::string other(64, 'a');
  EXPECT_EQ(runCodeTool({"trust", "add", fileOf(testing::successorFile("next", next_, acme_))}).status,
            ExitStatus::Fine);
  EXPECT_EQ(runCodeTool({"trust", "revoke", other}).status, ExitStatus::Fine);
  EXPECT_EQ(runCodeTool({"trust", "revoke", "next"}).status, ExitStatus::Fine);
  const ToolRun run = runCodeTool({"trust", "list"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "NAME  STANDING  FINGERPRINT" + std::string(55, ' ') + "DIRECTORY\nacme  trusted   " +
                            acmePrint_ + "  " + trustPath_ + "\nnext  revoked   " + nextPrint_ + "  " + trustPath_ +
                            "\n-     revoked   " + other + "  -\n");
  const ToolRun json = runCodeTool({"trust", "list", "--json"});
  EXPECT_NE(json.output.find("\"standing\": \"revoked\""), json.output.npos) << json.output;
}

TEST_F(TrustListCommandTest, TellsOfFilesThatAreIgnored) {
  trustAcme();
  testing::writeContents(trustPath_ + "/bad.plist", "\x1b");
  const ToolRun run = runCodeTool({"trust", "list"});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_TRUE(run.messages.starts_with("vanto: " + trustPath_ + "/bad.plist: is no property list")) << run.messages;
}

TEST_F(TrustListCommandTest, SaysThatKeysAreWithheld) {
  trustAcme();
  testing::writeContents(trustPath_ + "/revoked.plist", "junk");
  const ToolRun run = runCodeTool({"trust", "list"});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_NE(run.output.find("\nacme  withheld  " + acmePrint_), run.output.npos) << run.output;
  EXPECT_NE(run.messages.find(trustPath_ + ": revoked.plist is no property list"), run.messages.npos) << run.messages;
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustAddCommand.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

using TrustAddCommandTest = testing::CodeFixture;

TEST_F(TrustAddCommandTest, MakesTheDirectoryAndTrustsTheKey) {
  const std::string file = fileOf(testing::keyFile("acme", acme_));
  for (int time = 0; time < 2; ++time) {
    const ToolRun run = runCodeTool({"trust", "add", file});
    EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
    EXPECT_EQ(run.output, trustPath_ + "/acme.plist: trusted: acme (" + acmePrint_ + ")\n");
  }
  struct stat status;
  ASSERT_EQ(stat(trustPath_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(TrustAddCommandTest, DoesNotReplaceAnotherKeyOfTheName) {
  trustAcme();
  const ToolRun run = runCodeTool({"trust", "add", fileOf(testing::keyFile("acme", next_))});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages,
            "vanto: " + trustPath_ + "/acme.plist: exists already; vanto trust remove takes away what has the name\n");
  EXPECT_EQ(contentsOf(trustPath_ + "/acme.plist"), testing::keyFile("acme", acme_).bytes);
}

TEST_F(TrustAddCommandTest, SaysWhenWhatItAddedIsNotTrusted) {
  const ToolRun run = runCodeTool({"trust", "add", fileOf(testing::successorFile("next", next_, acme_))});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.messages, "vanto: " + trustPath_ + "/next.plist: added, but its predecessor is not trusted\n");
}

TEST_F(TrustAddCommandTest, SaysWhenNoKeyIsTrusted) {
  trustAcme();
  testing::writeContents(trustPath_ + "/revoked.plist", "junk");
  const ToolRun run = runCodeTool({"trust", "add", fileOf(testing::keyFile("next", next_))});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_TRUE(run.messages.ends_with("vanto: " + trustPath_ + "/next.plist: added, but no key is trusted now\n"))
      << run.messages;
  chmod(trustPath_.c_str(), 0770);
  EXPECT_EQ(runCodeTool({"trust", "add", fileOf(testing::keyFile("next", next_))}).messages,
            "vanto: " + trustPath_ + ": can be written by others; chmod go-w takes that away\n");
}

TEST_F(TrustAddCommandTest, RefusesAPrivateKeyAndWhatIsNone) {
  EXPECT_EQ(runCodeTool({"trust", "add", acmeKey_}).messages,
            "vanto: " + acmeKey_ + ": is a private key; vanto key public prints what is to be trusted\n");
  EXPECT_EQ(runCodeTool({"trust", "add", single_}).status, ExitStatus::Failed);
  EXPECT_FALSE(std::filesystem::exists(trustPath_));
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeyPublicCommand.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

using KeyPublicCommandTest = testing::CodeFixture;

TEST_F(KeyPublicCommandTest, PrintsThePublicKeyAndNothingOfThePrivateOne) {
  const ToolRun run = runCodeTool({"key", "public", acmeKey_});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  EXPECT_EQ(run.output, testing::keyFile("acme", acme_).bytes);
}

TEST_F(KeyPublicCommandTest, WritesToAFileAndReplacesNoneUnlessForced) {
  const std::string path = directory_ / "acme.plist";
  for (const char* option : {"-o", "--output"}) {
    unlink(path.c_str());
    const ToolRun run = runCodeTool({"key", "public", acmeKey_, option, path});
    EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
    EXPECT_EQ(run.output, path + ": acme (" + acmePrint_ + ")\n");
    EXPECT_EQ(contentsOf(path), testing::keyFile("acme", acme_).bytes);
  }
  const ToolRun again = runCodeTool({"key", "public", nextKey_, "-o", path});
  EXPECT_EQ(again.status, ExitStatus::Failed);
  EXPECT_EQ(again.messages, "vanto: " + path + ": exists already; --force replaces it\n");
  EXPECT_EQ(contentsOf(path), testing::keyFile("acme", acme_).bytes);
  EXPECT_EQ(runCodeTool({"key", "public", nextKey_, "-o", path, "--force"}).status, ExitStatus::Fine);
  EXPECT_EQ(contentsOf(path), testing::keyFile("next", next_).bytes);
}

TEST_F(KeyPublicCommandTest, RefusesAKeyThatOthersCanRead) {
  chmod(acmeKey_.c_str(), 0644);
  const ToolRun run = runCodeTool({"key", "public", acmeKey_});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.messages, "vanto: " + acmeKey_ + ": can be read by others; chmod go= takes that away\n");
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeySucceedCommand.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

using KeySucceedCommandTest = testing::CodeFixture;

TEST_F(KeySucceedCommandTest, PrintsAStatementOfTheOldKey) {
  const std::string expected = testing::successorFile("next", next_, acme_).bytes;
  EXPECT_EQ(runCodeTool({"key", "succeed", acmeKey_, nextKey_}).output, expected);
  const ToolRun run = runCodeTool({"key", "succeed", acmeKey_, fileOf(testing::keyFile("next", next_))});
  EXPECT_EQ(run.output, expected);
  EXPECT_EQ(run.status, ExitStatus::Fine);
}

TEST_F(KeySucceedCommandTest, RefusesTheSameKeyAndWhatIsNone) {
  const ToolRun same = runCodeTool({"key", "succeed", acmeKey_, acmeKey_});
  EXPECT_EQ(same.status, ExitStatus::Failed);
  EXPECT_EQ(same.messages, "vanto: " + acmeKey_ + ": is the same key, which cannot succeed itself\n");
  EXPECT_EQ(runCodeTool({"key", "succeed", acmeKey_, single_}).status, ExitStatus::Failed);
  EXPECT_EQ(runCodeTool({"key", "succeed", fileOf(testing::keyFile("acme", acme_)), nextKey_}).status,
            ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool

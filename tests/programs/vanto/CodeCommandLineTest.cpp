// SPDX-License-Identifier: Apache-2.0
#include "vanto/CodeCommandLine.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

using Words = std::vector<std::string>;

TEST(CodeCommandLine, PrintsTheHelpOfEachCommand) {
  for (const Words& command : {Words{"sign"}, Words{"verify"}, Words{"identify"}, Words{"key"}, Words{"key", "new"},
                               Words{"key", "public"}, Words{"key", "succeed"}, Words{"trust"}, Words{"trust", "add"},
                               Words{"trust", "list"}, Words{"trust", "remove"}, Words{"trust", "revoke"}}) {
    Words arguments = command;
    arguments.emplace_back("--help");
    const ToolRun run = runCodeTool(arguments);
    EXPECT_EQ(run.status, ExitStatus::Fine);
    const std::string usage = "Usage: vanto " + command[0] + (command.size() == 2 ? " " + command[1] : "");
    EXPECT_NE(run.output.find(usage), run.output.npos) << run.output;
  }
}

TEST(CodeCommandLine, FailsForBadUsage) {
  for (const Words& arguments : {Words{}, Words{"key"}, Words{"key", "new"}, Words{"sign", "x"}, Words{"verify"},
                                 Words{"trust", "nonsense"}, Words{"trust", "add"}, Words{"identify", "a", "b"}}) {
    const ToolRun run = runCodeTool(arguments);
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_TRUE(run.messages.ends_with("; see vanto --help\n")) << run.messages;
  }
}

}  // namespace
}  // namespace vanto::tool

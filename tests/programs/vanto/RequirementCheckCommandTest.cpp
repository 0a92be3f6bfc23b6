// SPDX-License-Identifier: Apache-2.0
#include "vanto/RequirementCheckCommand.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::runCodeTool;
using testing::ToolRun;

class RequirementCheckCommandTest : public testing::CodeFixture {};

TEST_F(RequirementCheckCommandTest, SaysWhetherATextIsARequirement) {
  EXPECT_EQ(runCodeTool({"requirement", "check", "valid"}).status, ExitStatus::Fine);
  const ToolRun run = runCodeTool({"requirement", "check", "nonsense"});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_TRUE(run.output.starts_with("column 1 (line 1): ")) << run.output;
}

TEST_F(RequirementCheckCommandTest, SaysWhoSatisfiesItAndWhyNot) {
  sign(single_, acme_);
  trustAcme();
  const ToolRun fine = runCodeTool({"requirement", "check", "signer \"acme\"", "--against", single_});
  EXPECT_EQ(fine.status, ExitStatus::Fine);
  EXPECT_EQ(fine.output, "satisfied     yes\nholds         signer \"acme\"\n");
  const ToolRun run = runCodeTool({"requirement", "check", "valid and identifier \"x\"", "--against", single_});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.output, "satisfied     no\nholds         valid\ndoes not hold identifier \"x\"\n");
  testing::writeContents(single_, "changed");
  EXPECT_EQ(runCodeTool({"requirement", "check", "valid", "--against", single_}).output,
            "satisfied     no\nvalid         no: the executable was changed\ndoes not hold valid\n");
  EXPECT_EQ(runCodeTool({"requirement", "check", "valid", "--against", "/nowhere"}).status, ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool

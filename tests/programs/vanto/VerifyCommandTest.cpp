// SPDX-License-Identifier: Apache-2.0
#include "vanto/VerifyCommand.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

class VerifyCommandTest : public testing::CodeFixture {
 protected:
  VerifyCommandTest() { sign(bundle_, acme_); }
};

TEST_F(VerifyCommandTest, PrintsByWhomItIsSigned) {
  trustAcme();
  const ToolRun run = runCodeTool({"verify", bundle_});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.output;
  EXPECT_EQ(run.output, bundle_ + ": valid: org.example.a, signed by acme (" + acmePrint_ + ")\n");
  EXPECT_EQ(run.messages, "");
}

TEST_F(VerifyCommandTest, PrintsEachThingThatIsWrong) {
  testing::writeContents(bundle_ + "/\x1b", "x");
  const ToolRun run = runCodeTool({"verify", bundle_});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.output, bundle_ + ": the key " + acmePrint_ + " is not trusted\n" + bundle_ +
                            "/\\x1b: has a control character in its name, which cannot be signed\n");
}

TEST_F(VerifyCommandTest, TrustsTheDirectoriesThatItIsGivenInstead) {
  const std::string other = directory_ / "other";
  mkdir(other.c_str(), 0755);
  trustAcme();
  EXPECT_EQ(runCodeTool({"verify", bundle_, "--trust", other}).status, ExitStatus::Found);
  testing::writeContents(other + "/acme.plist", testing::keyFile("acme", acme_).bytes);
  EXPECT_EQ(runCodeTool({"verify", "--trust", other, bundle_}).status, ExitStatus::Fine);
  EXPECT_EQ(runCodeTool({"verify", "--trust", other + "/none", "--trust", other, bundle_}).messages,
            "vanto: " + other + "/none: No such file or directory\n");
}

TEST_F(VerifyCommandTest, PrintsJson) {
  const ToolRun run = runCodeTool({"verify", "--json", bundle_});
  EXPECT_NE(run.output.find("\"reason\": \"the key " + acmePrint_), run.output.npos) << run.output;
  EXPECT_NE(run.output.find("\"valid\": false"), run.output.npos);
}

TEST_F(VerifyCommandTest, FailsWhereThereIsNoCode) {
  EXPECT_EQ(runCodeTool({"verify", directory_ / "none"}).status, ExitStatus::Failed);
  EXPECT_EQ(runCodeTool({"verify", directory_.path()}).status, ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobCommand.h"

#include "programs/vanto/ServiceFixture.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::runTool;
using testing::ToolRun;

class JobCommandTest : public testing::ServiceFixture {};

TEST_F(JobCommandTest, PrintsTheJobAsTheLibraryWritesIt) {
  const ToolRun run = runTool({"job", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, service().tolvendJobPropertyListString()->text());
}

TEST_F(JobCommandTest, PrintsJson) {
  EXPECT_EQ(shortened(runTool({"job", "-f", "json", bundle_.path()}).output),
            "{\n  \"EnableTransactions\": true,\n  \"Label\": \"org.example.a\",\n  \"MachServices\": {\n"
            "    \"org.example.a\": true\n  },\n  \"ProgramArguments\": [\n    \"/usr/libexec/vantoproxy\",\n"
            "    \"DIR/A.vanto/Contents/Linux/a\"\n  ],\n  \"VantoDomain\": \"VantoPerUser\"\n}\n");
}

TEST_F(JobCommandTest, PrintsJobDataAndTheIpcObjectAsTrees) {
  const std::string rest =
      "  EnableTransactions: bool true\n"
      "  Label: string \"org.example.a\"\n"
      "  MachServices: dictionary\n"
      "    org.example.a: bool true\n"
      "  ProgramArguments: array\n"
      "    [0]: string \"/usr/libexec/vantoproxy\"\n"
      "    [1]: string \"DIR/A.vanto/Contents/Linux/a\"\n"
      "  VantoDomain: string \"VantoPerUser\"\n";
  EXPECT_EQ(shortened(runTool({"job", "--format", "job-data", bundle_.path()}).output), "dictionary\n" + rest);
  EXPECT_EQ(shortened(runTool({"job", "--format", "ipc", bundle_.path()}).output), "dictionary\n" + rest);
}

TEST_F(JobCommandTest, PrintsAnArrayForMoreThanOneBundle) {
  BundleBuilder(directory_.path(), "B.vanto").identifier("b").executable("b").service().build();
  const ToolRun run = runTool({"job", "-f", "json", directory_.path()});
  EXPECT_TRUE(run.output.starts_with("[\n  {\n")) << run.output;
  EXPECT_NE(run.output.find("\"Label\": \"b\""), run.output.npos);
  EXPECT_EQ(runTool({"job", bundle_.path(), directory_ / "B.vanto", "-f", "json"}).output, run.output);
}

TEST_F(JobCommandTest, NeverHidesJobsBehindBundlesWithoutOne) {
  BundleBuilder(directory_.path(), "0.vanto").service().build();
  BundleBuilder(directory_.path(), "Z.vanto").info("x").build();
  const ToolRun run = runTool({"job", "-f", "json", directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_NE(run.output.find("org.example.a"), run.output.npos);
  EXPECT_NE(shortened(run.messages)
                .find("vanto: DIR/0.vanto: has no job, for want of an identifier or an executable; vanto "
                      "lint says more\n"),
            run.messages.npos);
  EXPECT_NE(shortened(run.messages).find("vanto: DIR/Z.vanto/Contents/Info.plist:1:1: "), run.messages.npos);
}

TEST_F(JobCommandTest, NeverHidesJobsBehindOneThatTheFormCannotCarry) {
  BundleBuilder(directory_.path(), "\x1b.vanto").identifier("b").executable("b").service().build();
  const ToolRun run = runTool({"job", directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_NE(run.output.find("<string>org.example.a</string>"), run.output.npos) << run.output;
  EXPECT_EQ(run.output.find("<string>b</string>"), run.output.npos) << run.output;
  EXPECT_EQ(shortened(run.messages),
            "vanto: DIR/\\x1b.vanto: its job is left out: ProgramArguments[1]: a string with a character that XML does "
            "not allow cannot be written\n");

  const ToolRun alone = runTool({"job", directory_ / "\x1b.vanto"});
  EXPECT_EQ(alone.status, ExitStatus::Failed);
  EXPECT_EQ(alone.output, "");
  EXPECT_TRUE(shortened(alone.messages).starts_with("vanto: DIR/\\x1b.vanto: ProgramArguments[1]: ")) << alone.messages;
}

TEST_F(JobCommandTest, PrintsNothingForOneBundleWithoutAJob) {
  BundleBuilder(directory_.path(), "A.vanto").service().build();
  const ToolRun run = runTool({"job", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.output, "");
}

TEST_F(JobCommandTest, PrintsNoBinaryToATerminal) {
  EXPECT_EQ(runTool({"job", "-f", "binary", bundle_.path()}, testing::plainTerminal).status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"job", "-f", "binary", bundle_.path()}).status, ExitStatus::Fine);
}

TEST_F(JobCommandTest, CannotInjectControlCharacters) {
  BundleBuilder evil(directory_.path(), "A.vanto");
  evil.identifier("\u009b\u202e")
      .executable("a\u009b")
      .serviceEntry("_MultipleInstances", "<string>\x7f</string>")
      .build();
  for (const char* form : {"json", "job-data", "ipc"}) {
    const ToolRun run = runTool({"job", "-f", form, bundle_.path()});
    EXPECT_NE(run.output, "") << form;
    EXPECT_TRUE(testing::isHarmless(run.output)) << run.output;
  }
  std::string xml = runTool({"job", bundle_.path()}).output;
  std::erase(xml, '\t');
  EXPECT_TRUE(testing::isHarmless(xml)) << xml;
}

}  // namespace
}  // namespace vanto::tool

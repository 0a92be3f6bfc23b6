// SPDX-License-Identifier: Apache-2.0
#include "vanto/ShowCommand.h"

#include "programs/vanto/ServiceFixture.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::runTool;
using testing::ToolRun;

class ShowCommandTest : public testing::ServiceFixture {};

TEST_F(ShowCommandTest, PrintsEverything) {
  const ToolRun run = runTool({"show", bundle_.path() + "/"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(shortened(run.output),
            "org.example.a\n"
            "  Bundle:     DIR/A.vanto\n"
            "  Executable: DIR/A.vanto/Contents/Linux/a\n"
            "  Resources:  DIR/A.vanto/Contents/Resources\n"
            "  Type:       User\n"
            "Service dictionary\n"
            "  ServiceType: \"User\"\n"
            "Job\n"
            "  EnableTransactions: true\n"
            "  Label: \"org.example.a\"\n"
            "  MachServices:\n"
            "    org.example.a: true\n"
            "  ProgramArguments:\n"
            "    [0]: \"/usr/libexec/vantoproxy\"\n"
            "    [1]: \"DIR/A.vanto/Contents/Linux/a\"\n"
            "  VantoDomain: \"VantoPerUser\"\n");
}

TEST_F(ShowCommandTest, FindsTheServiceOfAnExecutable) {
  EXPECT_EQ(runTool({"show", bundle_.executablePath("a")}).output, runTool({"show", bundle_.path()}).output);
}

TEST_F(ShowCommandTest, PrintsWhatThereIsOfAServiceWithoutAJob) {
  BundleBuilder(directory_.path(), "A.vanto").entry("VantoService", "<string>odd</string>").build();
  const ToolRun run = runTool({"show", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(shortened(run.output),
            "(no identifier)\n"
            "  Bundle:     DIR/A.vanto\n"
            "  Executable: -\n"
            "  Resources:  DIR/A.vanto/Contents/Resources\n"
            "  Type:       -\n"
            "Service dictionary\n"
            "  \"odd\"\n"
            "Job\n"
            "  (none)\n");
}

TEST_F(ShowCommandTest, PrintsJsonForScripts) {
  const ToolRun run = runTool({"show", "--json", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  for (const char* key : {"bundle", "executable", "identifier", "job", "resources", "serviceDictionary", "type"}) {
    EXPECT_NE(run.output.find("\n  \"" + std::string(key) + "\": "), run.output.npos) << key;
  }
}

TEST_F(ShowCommandTest, PrintsTheLibrarysDescription) {
  const ToolRun run = runTool({"show", "--description", bundle_.path()});
  EXPECT_TRUE(run.output.starts_with("{[VantoServiceBundle 0x")) << run.output;
  EXPECT_NE(run.output.find(" service identifier =  org.example.a\n"), run.output.npos);
}

TEST_F(ShowCommandTest, PrintsNoDescriptionThatIsMostlyBlanks) {
  std::string deep = "<true/>";
  for (int count = 0; count < 16; ++count) deep += deep;
  for (int level = 0; level < 500; ++level) deep = "<array>" + deep + "</array>";
  BundleBuilder(directory_.path(), "B.vanto").identifier("b").serviceEntry("_MultipleInstances", deep).build();
  const ToolRun run = runTool({"show", "--description", directory_ / "B.vanto"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(
      shortened(run.messages),
      "vanto: DIR/B.vanto: its description would be blanks above all, more than 64 MiB of them; vanto show --json "
      "has it\n");
}

TEST_F(ShowCommandTest, FailsWhereThereIsNoService) {
  EXPECT_EQ(shortened(runTool({"show", directory_ / "none"}).messages), "vanto: DIR/none: No such file or directory\n");
  EXPECT_EQ(shortened(runTool({"show", directory_.path()}).messages),
            "vanto: DIR: is no service bundle, nor in one; vanto list finds them\n");
  EXPECT_EQ(runTool({"show", directory_ / "none.vanto"}).status, ExitStatus::Failed);
}

TEST_F(ShowCommandTest, CannotInjectControlCharacters) {
  BundleBuilder evil(directory_.path(), "A.vanto");
  evil.identifier("\u009b2J").executable("a\u009b2J").serviceEntry("\u202e", "<string>\x7f&#x9b;</string>").build();
  for (const char* form : {"--json", "--description", "--"}) {
    const ToolRun run = runTool({"show", form, bundle_.path()});
    EXPECT_NE(run.output, "");
    EXPECT_TRUE(testing::isHarmless(run.output)) << run.output;
  }
}

}  // namespace
}  // namespace vanto::tool

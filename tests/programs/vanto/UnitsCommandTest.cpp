// SPDX-License-Identifier: Apache-2.0
#include "vanto/UnitsCommand.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "programs/vanto/ServiceFixture.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::runTool;
using testing::ToolRun;

class UnitsCommandTest : public testing::ServiceFixture {
 protected:
  static std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
};

TEST_F(UnitsCommandTest, PrintsBothUnits) {
  const ToolRun run = runTool({"units", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  EXPECT_TRUE(run.output.starts_with("# org.example.a.socket\n")) << run.output;
  EXPECT_NE(run.output.find("\n# org.example.a.service\n"), run.output.npos) << run.output;
  EXPECT_NE(shortened(run.output).find("\"DIR/A.vanto/Contents/Linux/a\"\n"), run.output.npos) << run.output;
}

TEST_F(UnitsCommandTest, WritesBothUnits) {
  std::filesystem::create_directory(directory_ / "units");
  const ToolRun run = runTool({"units", "--output", directory_ / "units/", bundle_.path()});
  EXPECT_EQ(shortened(run.output), "DIR/units/org.example.a.socket\nDIR/units/org.example.a.service\n");
  const std::string printed = runTool({"units", bundle_.path()}).output;
  EXPECT_EQ("# org.example.a.socket\n" + contentsOf(directory_ / "units/org.example.a.socket") +
                "\n# org.example.a.service\n" + contentsOf(directory_ / "units/org.example.a.service") + "\n",
            printed);
}

TEST_F(UnitsCommandTest, NamesTheProxyThatIsGivenByItsWholePath) {
  const ToolRun run = runTool({"units", "--proxy", "a//proxy", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  const std::string line = "\nExecStart=\"" + std::filesystem::current_path().string() + "/a/proxy\" \"";
  EXPECT_NE(run.output.find(line), run.output.npos) << run.output;
}

TEST_F(UnitsCommandTest, SaysWhatCannotBeWritten) {
  const ToolRun run = runTool({"units", "-o", directory_ / "none", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_TRUE(shortened(run.messages).starts_with("vanto: DIR/none/org.example.a.socket: ")) << run.messages;
}

TEST_F(UnitsCommandTest, GoesOnBehindAServiceThatHasNone) {
  BundleBuilder(directory_.path(), "0.vanto")
      .identifier("s")
      .executable("s")
      .serviceEntry("ServiceType", BundleBuilder::string("Session"))
      .build();
  BundleBuilder(directory_.path(), "1.vanto").service().build();
  const ToolRun run = runTool({"units", directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_TRUE(run.output.starts_with("# org.example.a.socket\n")) << run.output;
  EXPECT_EQ(shortened(run.messages),
            "vanto: DIR/0.vanto: has no units: it is a service of each session, and systemd has units of the user and "
            "of the system only\n"
            "vanto: DIR/1.vanto: has no job, for want of an identifier or an executable; vanto lint says more\n");
}

TEST_F(UnitsCommandTest, CommandsNoTerminalByPaths) {
  BundleBuilder(directory_.path(), "\x1b]0;x\x07\u009b\n.vanto").identifier("\u202e").executable("b").service().build();
  const ToolRun run = runTool({"units", directory_ / "\x1b]0;x\x07\u009b\n.vanto"});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  EXPECT_TRUE(testing::isHarmless(run.output)) << run.output;
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/LintCommand.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"
#include "support/BundleBuilder.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::runTool;
using testing::ToolRun;

class LintCommandTest : public ::testing::Test {
 protected:
  [[nodiscard]] BundleBuilder bundle(const char* name) const {
    BundleBuilder bundle(directory_.path(), std::string(name) + ".vanto");
    bundle.identifier(name).executable(name).service();
    return bundle;
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(LintCommandTest, IsSilentWhenNothingIsWrong) {
  bundle("a").build();
  const ToolRun run = runTool({"lint", directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.messages, "");
}

TEST_F(LintCommandTest, PrintsALineForEachFindingInEachBundle) {
  bundle("a").serviceEntry("RunLoopType", "<string>x</string>").build();
  bundle("b").build();
  BundleBuilder damaged(directory_.path(), "c.vanto");
  damaged.info("").build();
  const ToolRun run = runTool({"lint", directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_TRUE(
      run.output.starts_with(directory_.path() +
                             "/a.vanto/Contents/Info.plist: VantoService.RunLoopType: warning: \"x\" is unknown, so "
                             "dispatch_main runs; write dispatch_main, QelRunLoop or _QelApplicationMain\n" +
                             directory_.path() + "/c.vanto/Contents/Info.plist:1:1: error: "))
      << run.output;
}

TEST_F(LintCommandTest, DoesNotCountNotes) {
  bundle("a").serviceEntry("_RoleAccount", "<string>x</string>").build();
  const ToolRun run = runTool({"lint", directory_ / "a.vanto"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_NE(run.output.find(": note: "), run.output.npos);
}

TEST_F(LintCommandTest, PrintsJsonForScripts) {
  BundleBuilder one = bundle("a");
  one.serviceEntry("x", "<true/>").build();
  const ToolRun run = runTool({"lint", "--json", directory_.path()});
  EXPECT_EQ(run.output,
            "[\n  {\n    \"file\": \"" + one.infoPath() +
                "\",\n    \"key\": \"VantoService.x\",\n    \"problem\": \"is no key of a service dictionary, so "
                "nothing uses it\",\n    \"remedy\": \"remove it\",\n    \"severity\": \"warning\"\n  }\n]\n");
  EXPECT_EQ(runTool({"lint", "--json", directory_.path()}).status, ExitStatus::Found);
}

TEST_F(LintCommandTest, FailsForAPlaceThatIsNotThere) {
  EXPECT_EQ(runTool({"lint", directory_ / "none"}).status, ExitStatus::Failed);
  EXPECT_EQ(runTool({"lint", directory_ / "none.vanto"}).status, ExitStatus::Found);
}

TEST_F(LintCommandTest, CountsOnATerminal) {
  bundle("a").build();
  EXPECT_EQ(runTool({"lint", directory_.path()}, testing::plainTerminal).output, "1 service: nothing found\n");
  bundle("b").serviceEntry("x", "<true/>").build();
  EXPECT_TRUE(
      runTool({"lint", directory_.path()}, testing::plainTerminal).output.ends_with("\n2 services: 1 finding\n"));
}

TEST_F(LintCommandTest, CannotInjectControlCharacters) {
  BundleBuilder evil(directory_.path(), "\x1b[2J.vanto");
  evil.identifier("\u009b")
      .serviceEntry("\u202e", "<true/>")
      .serviceEntry("ServiceType", "<string>\x7f</string>")
      .build();
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"lint", directory_.path()},
                                                    std::vector<std::string>{"lint", "--json", directory_.path()}}) {
    const ToolRun run = runTool(arguments);
    EXPECT_NE(run.output, "");
    for (const char c : run.output + run.messages) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << run.output;
  }
}

}  // namespace
}  // namespace vanto::tool

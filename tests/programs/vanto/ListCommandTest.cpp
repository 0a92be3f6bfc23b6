// SPDX-License-Identifier: Apache-2.0
#include "vanto/ListCommand.h"

#include <algorithm>
#include <fstream>

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"
#include "support/BundleBuilder.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::runTool;
using testing::ToolRun;

class ListCommandTest : public ::testing::Test {
 protected:
  ListCommandTest() {
    BundleBuilder host(directory_.path(), "Mail.app");
    host.identifier("org.example.mail").build();
    services_ = host.servicesPath();
  }
  void addService(const char* name, const char* type = nullptr) const {
    BundleBuilder bundle(services_, std::string(name) + ".vanto");
    bundle.identifier(name).service();
    if (type != nullptr) bundle.serviceEntry("ServiceType", BundleBuilder::string(type));
    bundle.build();
  }

  const test::TemporaryDirectory directory_;
  const std::string host_ = directory_ / "Mail.app";
  std::string services_;
};

TEST_F(ListCommandTest, PrintsARowForEachServiceInOrder) {
  addService("org.example.index", "User");
  addService("a", "System");
  addService("b");
  const ToolRun run = runTool({"list", host_});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output,
            "IDENTIFIER         TYPE    BUNDLE\n"
            "a                  System  " +
                services_ +
                "/a.vanto\n"
                "b                  -       " +
                services_ +
                "/b.vanto\n"
                "org.example.index  User    " +
                services_ + "/org.example.index.vanto\n");
  EXPECT_EQ(run.messages, "");
}

TEST_F(ListCommandTest, PrintsJsonForScripts) {
  BundleBuilder bundle(services_, "a.vanto");
  bundle.identifier("a").executable("x").serviceEntry("ServiceType", BundleBuilder::string("User")).build();
  const ToolRun run = runTool({"list", "--json", host_});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "[\n  {\n    \"bundle\": \"" + bundle.path() + "\",\n    \"executable\": \"" +
                            bundle.executablePath("x") +
                            "\",\n    \"identifier\": \"a\",\n    \"type\": \"User\"\n  }\n]\n");
}

TEST_F(ListCommandTest, PrintsAnEmptyListOfNothing) {
  EXPECT_EQ(runTool({"list", host_}).output, "");
  EXPECT_EQ(runTool({"list", "--json", host_}).output, "[]\n");
}

TEST_F(ListCommandTest, NeverHidesServicesBehindBadOnes) {
  addService("a");
  addService("z");
  BundleBuilder damaged(services_, "m.vanto");
  damaged.info("<plist>").build();
  BundleBuilder without(services_, "n.vanto");
  without.identifier("n").build();
  std::ofstream(services_ + "/o.vanto").close();
  const ToolRun run = runTool({"list", host_});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 3);
  EXPECT_NE(run.output.find("/z.vanto\n"), run.output.npos);
  EXPECT_NE(run.messages.find("vanto: " + damaged.infoPath() + ":1:8: "), run.messages.npos) << run.messages;
  EXPECT_NE(run.messages.find("vanto: " + without.infoPath() + ": VantoService: is missing"), run.messages.npos);
  EXPECT_NE(run.messages.find("vanto: " + services_ + "/o.vanto: is no directory\n"), run.messages.npos);
}

TEST_F(ListCommandTest, FailsForAPlaceThatIsNotThereAndListsTheOthers) {
  addService("a");
  const ToolRun run = runTool({"list", directory_ / "none", host_});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_NE(run.output.find("/a.vanto\n"), run.output.npos);
  EXPECT_EQ(run.messages, "vanto: " + directory_.path() + "/none: cannot be listed: No such file or directory\n");
}

TEST_F(ListCommandTest, CountsOnATerminal) {
  addService("a");
  const ToolRun run = runTool({"list", host_}, {true, false, 500});
  EXPECT_TRUE(run.output.ends_with("/a.vanto\n1 service\n")) << run.output;
  EXPECT_TRUE(runTool({"list", directory_.path()}, {true, false, 500}).output.ends_with("\n1 service\n"));
}

TEST_F(ListCommandTest, FitsTheTerminal) {
  addService("a");
  const ToolRun run = runTool({"list", host_}, {true, false, 40});
  EXPECT_NE(run.output.find("…"), run.output.npos);
  EXPECT_EQ(runTool({"list", host_}).output.find("…"), std::string::npos);
}

TEST_F(ListCommandTest, ShowsProgressWhereRowsAreNotSeen) {
  addService("a");
  EXPECT_TRUE(runTool({"list", host_}, {}, testing::plainTerminal).messages.starts_with("\rreading services: 0 of 1"));
  EXPECT_EQ(runTool({"list", host_}, testing::plainTerminal, testing::plainTerminal).messages, "");
}

TEST_F(ListCommandTest, CannotInjectControlCharacters) {
  BundleBuilder bundle(services_, "\x1b[2J\u202e.vanto");
  bundle.entry("KorBundleIdentifier", "<string>\u009b31m\n</string>").service().build();
  BundleBuilder damaged(services_, "\x1b]0;x\x07.vanto");
  damaged.info("\x1b[31m").build();
  for (const char* form : {"--json", ""}) {
    std::vector<std::string> arguments{"list", host_};
    if (*form != '\0') arguments.emplace_back(form);
    const ToolRun run = runTool(arguments, {}, {});
    for (const char c : run.output + run.messages) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << run.output;
  }
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/LoadCommand.h"

#include <filesystem>
#include <fstream>

#include "programs/vanto/ManagerFixture.h"
#include "support/LeftObjects.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using testing::FakeManager;
using testing::ToolRun;

class LoadCommandTest : public testing::ManagerFixture {
 protected:
  LoadCommandTest() { manager_.answer("load", R"({"label": "org.example.a", "replaced": false})"); }

  std::string fileWith(const std::string& contents) const {
    const std::string path = directory_ / "jobs";
    std::ofstream(path) << contents;
    return path;
  }

  FakeManager manager_;
};

TEST_F(LoadCommandTest, HandsOverTheJobOfABundle) {
  const ToolRun run = testing::runTool({"load", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "org.example.a: loaded into the user domain\n");
  EXPECT_EQ(run.messages, "");
  EXPECT_TRUE(vanto_equal(vanto_dictionary_get_value(manager_.lastRequest(), "job"), service().vantoJobData()));
  manager_.answer("load", R"({"label": "org.example.a", "replaced": true})");
  EXPECT_EQ(testing::runTool({"load", bundle_.path()}).output, "org.example.a: replaced in the user domain\n");
  // Jobs as IPC objects live as long as the process.
  vanto::testing::leaveObjects(10);
}

TEST_F(LoadCommandTest, HandsOverAllJobsOfAPlace) {
  BundleBuilder(directory_.path(), "B.vanto").identifier("b").executable("b").service().build();
  EXPECT_EQ(runForUser({"load", directory_.path()}).status, ExitStatus::Fine);
  EXPECT_EQ(manager_.orders().size(), 2U);
}

TEST_F(LoadCommandTest, HandsOverWhatJobPrints) {
  BundleBuilder(directory_.path(), "B.vanto").identifier("b").executable("b").service().build();
  for (const char* form : {"xml", "binary", "json"}) {
    for (const std::string& place : {bundle_.path(), directory_.path()}) {
      const ToolRun run = testing::runTool({"load", fileWith(testing::runTool({"job", "-f", form, place}).output)});
      EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
    }
  }
  EXPECT_EQ(manager_.orders().size(), 9U);
}

TEST_F(LoadCommandTest, GoesOnBehindWhatCannotBeLoaded) {
  BundleBuilder(directory_.path(), "0.vanto").service().build();
  const ToolRun run = testing::runTool({"load", directory_ / "none", directory_.path()});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, "org.example.a: loaded into the user domain\n");
  EXPECT_EQ(shortened(run.messages),
            "vanto: DIR/none: cannot be listed: No such file or directory\n"
            "vanto: DIR/0.vanto: has no job, for want of an identifier or an executable; vanto lint says more\n");
}

TEST_F(LoadCommandTest, SaysWhyTheManagerRefused) {
  manager_.answer("load", R"({"error": "the label is taken\u001b"})");
  const ToolRun run = testing::runTool({"load", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(shortened(run.messages), "vanto: DIR/A.vanto: not loaded: the label is taken\\x1b\n");
  manager_.answer("load", R"({"label": "a"})");
  EXPECT_EQ(shortened(testing::runTool({"load", bundle_.path()}).messages),
            "vanto: DIR/A.vanto: the service manager of the user domain gave an answer that makes no sense: no bool "
            "\"replaced\"\n");
}

TEST_F(LoadCommandTest, AsksTheManagerOfTheJobsDomain) {
  BundleBuilder(directory_.path(), "S.vanto")
      .identifier("s")
      .executable("s")
      .serviceEntry("ServiceType", BundleBuilder::string("Session"))
      .build();
  const std::string path = directory_ / "S.vanto";
  EXPECT_EQ(
      shortened(testing::runTool({"load", path}).messages),
      "vanto: DIR/S.vanto: not loaded: no service manager of the session domain runs; start one: tolvend --domain "
      "session\n");
  EXPECT_TRUE(manager_.orders().empty());
  EXPECT_EQ(testing::runTool({"load", "-d", "user", path}).status, ExitStatus::Fine);
}

TEST_F(LoadCommandTest, WarnsOfAnExecutableThatCannotBeStarted) {
  const std::string executable = bundle_.executablePath("a");
  std::filesystem::permissions(executable, std::filesystem::perms::owner_read);
  ToolRun run = testing::runTool({"load", bundle_.path()});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.output, "org.example.a: loaded into the user domain\n");
  EXPECT_EQ(shortened(run.messages),
            "vanto: DIR/A.vanto: warning: it cannot be started from DIR/A.vanto/Contents/Linux/a: It may not be "
            "executed\n");
  const std::string jobs = fileWith(testing::runTool({"job", bundle_.path()}).output);
  std::filesystem::remove(executable);
  run = testing::runTool({"load", jobs});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(shortened(run.messages),
            "vanto: DIR/jobs: warning: it cannot be started from DIR/A.vanto/Contents/Linux/a: No such file or "
            "directory\n");
}

TEST_F(LoadCommandTest, RefusesFilesThatHoldNoJobs) {
  const std::pair<const char*, const char*> files[] = {
      {"[1, {}]", "vanto: DIR/jobs: [0]: is no job, for it is no dictionary\n"},
      {"\"x\"", "vanto: DIR/jobs: is no job, for it is no dictionary\n"},
      {"{\"VantoDomain\": \"x\"}",
       "vanto: DIR/jobs: not loaded: its \"VantoDomain\" is x, which is no domain; it can be VantoPerSession, "
       "VantoPerUser or VantoSystem\n"}};
  for (const auto& [contents, message] : files) {
    const ToolRun run = testing::runTool({"load", fileWith(contents)});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(shortened(run.messages), message);
  }
  EXPECT_EQ(testing::runTool({"load", fileWith("{")}).status, ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/StatusWatch.h"

#include <fcntl.h>

#include "programs/vanto/ManagerFixture.h"
#include "vanto/CommandLine.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;
using testing::ToolRun;

constexpr const char* ended = "vanto: the service manager of the user domain has ended\n";

class StatusWatchTest : public testing::ManagerFixture {
 protected:
  StatusWatchTest() {
    manager_.answer(
        "watch", FakeManager::status({FakeManager::job("a"), FakeManager::job("b")}),
        {FakeManager::job("a", R"(, "retry": 5)"), FakeManager::job("c"), R"({"label": "a", "removed": true})"},
        FakeManager::Then::HangUp);
    manager_.answer("status", FakeManager::status({FakeManager::job("a")}));
  }

  FakeManager manager_;
};

TEST_F(StatusWatchTest, PrintsARowForEachChangeUntilTheManagerEnds) {
  const ToolRun run = runForUser({"status", "--watch"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages, ended);
  EXPECT_EQ(run.output,
            "LABEL  STATE    PID  SINCE  CONFINED  STARTS  FAILURES  LAST FAILURE\n"
            "a      resting  -    -      -         3       0         -\n"
            "b      resting  -    -      -         3       0         -\n"
            "a      resting  -    -      -         3       0         -\n"
            "c      resting  -    -      -         3       0         -\n"
            "a      removed  -    -      -         -       -         -\n");
}

TEST_F(StatusWatchTest, PrintsALineOfJsonForEachJobAndChange) {
  const ToolRun run = runForUser({"status", "-w", "--json"});
  EXPECT_EQ(run.messages, ended);
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 5) << run.output;
  EXPECT_TRUE(run.output.starts_with("{\"domain\":\"user\",\"failures\":0,")) << run.output;
  EXPECT_TRUE(run.output.ends_with("{\"domain\":\"user\",\"label\":\"a\",\"removed\":true}\n")) << run.output;
}

TEST_F(StatusWatchTest, RedrawsOnATerminal) {
  const ToolRun run = runForUser({"status", "--watch"}, testing::plainTerminal);
  EXPECT_TRUE(run.output.starts_with("LABEL ")) << run.output;
  EXPECT_EQ(run.messages, ended);
  EXPECT_EQ(run.output.find("removed"), run.output.npos) << run.output;
}

TEST_F(StatusWatchTest, AsksForOneJobAlone) {
  const ToolRun run = runForUser({"status", "--watch", "a"});
  EXPECT_EQ(manager_.orders(), (std::vector<std::string>{"status a", "watch a"}));
  EXPECT_EQ(run.output.find("\nb "), run.output.npos) << run.output;
  EXPECT_EQ(run.output.find("\nc "), run.output.npos) << run.output;
}

TEST_F(StatusWatchTest, WaitsForJobsThatAreNotLoadedYet) {
  const ToolRun run = runForUser({"status", "--watch", "b", "c", "d"});
  EXPECT_NE(run.output.find("\nc "), run.output.npos) << run.output;
  EXPECT_EQ(run.output.find("\na "), run.output.npos) << run.output;
  EXPECT_EQ(run.messages,
            "vanto: c: no job of that label is loaded yet\nvanto: d: no job of that label is loaded yet\n" +
                std::string(ended));
}

TEST_F(StatusWatchTest, EndsWhenTheManagerSaysWhatMakesNoSense) {
  manager_.answer("watch", FakeManager::status({}), {"7", "8", R"({"label": "a", "removed": true})"});
  const ToolRun run = runForUser({"status", "--watch"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages,
            "vanto: the service manager of the user domain gave an answer that makes no sense: no dictionary\n");
}

TEST_F(StatusWatchTest, EndsWhenNobodyReadsIt) {
  manager_.answer("watch", FakeManager::status({FakeManager::job("a")}));
  const Fd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  const char* arguments[] = {"vanto", "status", "--watch", "--domain", "user"};
  Console console(full.get(), full.get(), {}, {});
  EXPECT_EQ(runCommandLine(5, arguments, console), ExitStatus::Failed);
  EXPECT_FALSE(console.isOutputFine());
}

}  // namespace
}  // namespace vanto::tool

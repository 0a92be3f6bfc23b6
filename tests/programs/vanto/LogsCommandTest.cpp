// SPDX-License-Identifier: Apache-2.0
#include "vanto/LogsCommand.h"

#include <fcntl.h>

#include "programs/vanto/ManagerFixture.h"
#include "vanto/CommandLine.h"
#include "vanto/LocalTime.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;
using testing::ToolRun;

class LogsCommandTest : public testing::ManagerFixture {
 protected:
  LogsCommandTest() {
    manager_.answer("status", FakeManager::status({FakeManager::job("a")}));
    manager_.answer("logs", R"({"lines": [{"time": 1, "pid": 7, "text": "one"},
                                          {"time": 2, "pid": 7, "text": "\u001b[2Jtwo"},
                                          {"time": 3, "pid": 8, "text": "three"}]})");
  }
  static std::string line(std::int64_t time, const char* rest) { return localTimeText(time) + rest + "\n"; }

  FakeManager manager_;
};

TEST_F(LogsCommandTest, PrintsTimeProcessAndText) {
  const ToolRun run = runForUser({"logs", "a"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, line(1, "  7  one") + line(2, "  7  \\x1b[2Jtwo") + line(3, "  8  three"));
  EXPECT_TRUE(vanto_equal(manager_.lastRequest(), testing::objectOf(R"({"command": "logs", "label": "a"})")));
}

TEST_F(LogsCommandTest, PrintsTheLastLines) {
  EXPECT_EQ(runForUser({"logs", "--lines", "1", "a"}).output, line(3, "  8  three"));
  EXPECT_EQ(runForUser({"logs", "-n", "0", "a"}).output, "");
  EXPECT_EQ(runForUser({"logs", "-n", "100", "a"}).output, runForUser({"logs", "a"}).output);
}

TEST_F(LogsCommandTest, FollowsUntilTheManagerEnds) {
  manager_.answer("logs", R"({"lines": [{"time": 1, "pid": 7, "text": "one"}]})",
                  {R"({"time": 2, "pid": 7, "text": "two"})"}, FakeManager::Then::HangUp);
  const ToolRun run = runForUser({"logs", "-f", "a"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, line(1, "  7  one") + line(2, "  7  two"));
  EXPECT_EQ(run.messages, "vanto: the service manager of the user domain has ended\n");
  EXPECT_TRUE(
      vanto_equal(manager_.lastRequest(), testing::objectOf(R"({"command": "logs", "label": "a", "follow": true})")));
}

TEST_F(LogsCommandTest, FollowsUntilTheJobIsUnloaded) {
  manager_.answer("logs", R"({"lines": []})",
                  {R"({"time": 2, "pid": 7, "text": "two"})", R"({"label": "a", "removed": true})"});
  const ToolRun run = runForUser({"logs", "-f", "a"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, line(2, "  7  two"));
  EXPECT_EQ(run.messages, "vanto: a: was unloaded\n");
}

TEST_F(LogsCommandTest, EndsWhenTheManagerSendsWhatIsNoLine) {
  manager_.answer("logs", R"({"lines": []})", {R"({"time": 2})"});
  EXPECT_EQ(runForUser({"logs", "--follow", "a"}).messages,
            "vanto: the service manager of the user domain gave an answer that makes no sense: no int64 \"pid\"\n");
  manager_.answer("logs", R"({"lines": [3]})");
  EXPECT_EQ(runForUser({"logs", "a"}).status, ExitStatus::Failed);
}

TEST_F(LogsCommandTest, EndsWhenNobodyReadsIt) {
  manager_.answer("logs", R"({"lines": [{"time": 1, "pid": 7, "text": "one"}]})");
  const Fd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  const char* arguments[] = {"vanto", "logs", "-f", "-d", "user", "a"};
  Console console(full.get(), full.get(), {}, {});
  EXPECT_EQ(runCommandLine(6, arguments, console), ExitStatus::Failed);
}

TEST_F(LogsCommandTest, FailsForALabelThatNobodyKnows) {
  EXPECT_EQ(runForUser({"logs", "b"}).status, ExitStatus::Failed);
  manager_.answer("logs", R"({"error": "no"})");
  EXPECT_EQ(runForUser({"logs", "a"}).messages, "vanto: a: no\n");
}

}  // namespace
}  // namespace vanto::tool

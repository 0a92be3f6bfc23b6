// SPDX-License-Identifier: Apache-2.0
#include "vanto/StatusCommand.h"

#include "programs/vanto/ManagerFixture.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;
using testing::ToolRun;

class StatusCommandTest : public testing::ManagerFixture {};

TEST_F(StatusCommandTest, PrintsARowForEachJob) {
  FakeManager manager;
  manager.answer("status", FakeManager::status({FakeManager::job("b"), FakeManager::job("a")}));
  const ToolRun run = runForUser({"status"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output,
            "LABEL  STATE    PID  SINCE  CONFINED  STARTS  FAILURES  LAST FAILURE\n"
            "a      resting  -    -      -         3       0         -\n"
            "b      resting  -    -      -         3       0         -\n");
  EXPECT_EQ(run.messages, "");
}

TEST_F(StatusCommandTest, PrintsJsonForScripts) {
  FakeManager manager;
  manager.answer("status", FakeManager::status({FakeManager::runningJob("a")}));
  EXPECT_EQ(runForUser({"status", "--json"}).output,
            "[\n  {\n    \"domain\": \"user\",\n    \"failures\": 0,\n    \"instances\": [\n      {\n"
            "        \"pid\": 4321,\n        \"since\": 5,\n        \"state\": \"running\"\n      }\n    ],\n"
            "    \"label\": \"a\",\n    \"multiple\": false,\n    \"name\": \"a\",\n    \"program\": \"/opt/a\",\n"
            "    \"starts\": 1,\n    \"state\": \"running\"\n  }\n]\n");
  manager.answer("status", FakeManager::status({}));
  EXPECT_EQ(runForUser({"status", "--json"}).output, "[]\n");
}

TEST_F(StatusCommandTest, PrintsNothingOfNoJobs) {
  FakeManager manager;
  manager.answer("status", FakeManager::status({}));
  EXPECT_EQ(runForUser({"status"}).output, "");
  EXPECT_EQ(runForUser({"status"}, testing::plainTerminal).output, "no jobs\n");
}

TEST_F(StatusCommandTest, PrintsTheJobsThatAreAskedFor) {
  FakeManager manager;
  manager.answer("status", FakeManager::status({FakeManager::job("org.example.a"), FakeManager::job("b")}));
  const ToolRun run = runForUser({"status", bundle_.path(), "c\x1b"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_NE(run.output.find("org.example.a  resting"), run.output.npos) << run.output;
  EXPECT_EQ(run.output.find("\nb "), run.output.npos) << run.output;
  EXPECT_EQ(run.messages, "vanto: c\\x1b: no job of that label is loaded\n");
}

TEST_F(StatusCommandTest, SaysThatThereIsNoManager) {
  const ToolRun run = runForUser({"status"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.messages, "vanto: no service manager of the user domain runs; start one: tolvend --domain user\n");
}

TEST_F(StatusCommandTest, AsksEveryManagerAndNamesItsDomain) {
  FakeManager session("session");
  FakeManager user("user");
  session.answer("status", FakeManager::status({FakeManager::job("a")}));
  user.answer("status", FakeManager::status({FakeManager::job("b")}));
  const ToolRun run = testing::runTool({"status", "a", "b"});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  EXPECT_NE(run.output.find("a      session  resting"), run.output.npos) << run.output;
  EXPECT_NE(run.output.find("b      user     resting"), run.output.npos) << run.output;
}

TEST_F(StatusCommandTest, SaysWhatIsWrongWithAnAnswer) {
  FakeManager manager;
  for (const char* answer : {R"([])", R"({})", R"({"jobs": [1]})", R"({"jobs": [{"label": "a"}]})",
                             R"({"jobs": [], "error": "x\u001b"})", R"({"jobs": {}})"}) {
    manager.answer("status", answer);
    for (const char* form : {"--json", "--watch"}) {
      manager.answer("watch", answer);
      const ToolRun run = runForUser({"status", form});
      EXPECT_EQ(run.status, ExitStatus::Failed) << answer;
      EXPECT_TRUE(run.messages.starts_with("vanto: the service manager of the user domain gave an answer that makes no "
                                           "sense: no ") ||
                  run.messages == "vanto: x\\x1b\n")
          << run.messages;
    }
  }
}

TEST_F(StatusCommandTest, AsksNobodyAboutWhatIsNoLabel) {
  FakeManager manager;
  const ToolRun run = runForUser({"status", ""});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages, "vanto: a label cannot be empty\n");
  EXPECT_TRUE(manager.orders().empty());
}

TEST_F(StatusCommandTest, CommandsNoTerminalByWhatAManagerSays) {
  FakeManager manager;
  manager.answer("status", FakeManager::status({FakeManager::job(R"(\u001b]0;x\u0007)", R"(, "failure":
      {"stage": "\u009b", "text": "\u202e\n", "time": 1})")}));
  for (const char* form : {"--json", "--timeout=60"}) {
    const ToolRun run = runForUser({"status", form});
    EXPECT_NE(run.output, "");
    EXPECT_TRUE(testing::isHarmless(run.output)) << run.output;
  }
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/WhyCommand.h"

#include <algorithm>

#include "programs/vanto/ManagerFixture.h"
#include "vanto/LocalTime.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;
using testing::ToolRun;

class WhyCommandTest : public testing::ManagerFixture {
 protected:
  void setState(const std::string& more) { manager_.answer("status", FakeManager::status({job(more)})); }
  static std::string job(const std::string& more) { return FakeManager::job("a", more); }
  void setStory(const std::string& failure, const std::string& lines = "") {
    manager_.answer("why", R"({"label": "a", "state": "resting", "lines": [)" + lines + "]" + failure + "}");
  }

  FakeManager manager_;
};

TEST_F(WhyCommandTest, TellsTheStoryInTenLines) {
  setState(R"(, "retry": 2300000000)");
  const std::string line = R"({"time": 5, "pid": 12, "text": "\u001b[2Jx"})";
  setStory(R"(, "failure": {"stage": "listening", "text": "listening: x", "time": 7, "signal": 11, "pid": 12,
               "ran": 12000000})",
           line + "," + line + "," + line + "," + line + "," + line);
  const ToolRun run = runForUser({"why", "a"});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.messages, "");
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 10) << run.output;
  const std::string begin = "a: resting, with 0 failures and 3 starts\n  when     " + localTimeText(7) + ", ";
  EXPECT_TRUE(run.output.starts_with(begin)) << run.output;
  const std::string log = "  log      " + localTimeText(5) + "  12  \\x1b[2Jx\n";
  const std::string end =
      " ago\n  asked    to run /opt/a: process 12, which ran 0.012 s\n"
      "  stage    listening: it was executed, and did not come as far as to accept clients\n"
      "  cause    ended by signal 11 (SIGSEGV: Segmentation fault)\n"
      "  next     in 2.3 s, if a client waits then\n" +
      log + log + log +
      "  do       run its executable by hand, and see why it does not get on; vanto logs has what it wrote\n";
  EXPECT_TRUE(run.output.ends_with(end)) << run.output;
}

TEST_F(WhyCommandTest, TellsWhatIsMissing) {
  setState("");
  setStory(R"(, "failure": {"stage": "executable", "text": "executable: x", "time": 7, "error": 2})");
  const std::string output = runForUser({"why", "a"}).output;
  EXPECT_NE(output.find("  asked    to run /opt/a: no process\n"), output.npos) << output;
  EXPECT_NE(output.find("  cause    No such file or directory (ENOENT, error 2)\n"), output.npos) << output;
  EXPECT_NE(output.find("  next     when the next client comes\n"), output.npos) << output;
}

TEST_F(WhyCommandTest, SaysThatThereWasNoFailure) {
  setState("");
  setStory("");
  const ToolRun run = runForUser({"why", "a"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output, "a: resting, and has not failed\n");
}

TEST_F(WhyCommandTest, TellsOfASocketThatWasTakenAway) {
  const std::string line = "  socket   " + localTimeText(5) + ": it was removed\\x1b\n";
  const auto loss = [](const char* isPublished) {
    return R"(, "socket": {"text": "it was removed\u001b", "time": 5, "published": )" + std::string(isPublished) + "}";
  };
  setState(loss("true"));
  setStory("");
  EXPECT_EQ(runForUser({"why", "a"}).output, "a: resting, and has not failed\n" + line);
  EXPECT_EQ(runForUser({"why", "a"}).status, ExitStatus::Fine);
  setState(loss("false"));
  EXPECT_EQ(runForUser({"why", "a"}).status, ExitStatus::Found);
  setStory(R"(, "failure": {"stage": "executable", "text": "executable: x", "time": 7, "error": 2})");
  EXPECT_NE(runForUser({"why", "a"}).output.find("\n" + line + "  do  "), std::string::npos);
}

TEST_F(WhyCommandTest, TellsWhyWhatRunsIsNotConfinedFurther) {
  manager_.answer("status",
                  FakeManager::status({FakeManager::runningJob(
                      "a", R"(, "confinement": "reduced", "receipt": "level reduced\nmissing ioctl: x\n")")}));
  setStory("");
  const std::string lines = "  confined reduced: process 4321\n  receipt  missing ioctl: x\n";
  EXPECT_EQ(runForUser({"why", "a"}).output, "a: running, and has not failed\n" + lines);
  EXPECT_EQ(runForUser({"why", "a"}).status, ExitStatus::Fine);
  setStory(R"(, "failure": {"stage": "executable", "text": "executable: x", "time": 7, "error": 2})");
  const ToolRun run = runForUser({"why", "a"});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_NE(run.output.find("\n  do       "), run.output.npos) << run.output;
  EXPECT_TRUE(run.output.ends_with("\n" + lines)) << run.output;
}

TEST_F(WhyCommandTest, TellsStagesThatItDoesNotKnow) {
  setState("");
  setStory(R"(, "failure": {"stage": "\u001bnew", "text": "t\u001b", "time": 7})");
  const std::string output = runForUser({"why", "a"}).output;
  EXPECT_NE(output.find("  stage    \\x1bnew: this tool does not know this stage\n  cause    t\\x1b\n"), output.npos)
      << output;
}

TEST_F(WhyCommandTest, FailsForAnAnswerThatMakesNoSense) {
  setState("");
  for (const char* answer : {R"({"label": "a"})", R"({"lines": [], "failure": 1})", "[]", R"({"error": "no"})"}) {
    manager_.answer("why", answer);
    const ToolRun run = runForUser({"why", "a"});
    EXPECT_EQ(run.status, ExitStatus::Failed) << answer;
    EXPECT_TRUE(run.messages.starts_with("vanto: a: ")) << run.messages;
    EXPECT_EQ(run.output, "");
  }
  manager_.answer("status", FakeManager::status({}));
  EXPECT_EQ(runForUser({"why", "a"}).status, ExitStatus::Failed);
}

}  // namespace
}  // namespace vanto::tool

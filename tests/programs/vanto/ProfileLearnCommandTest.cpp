// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileLearnCommand.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "programs/vanto/ProfileFixture.h"
#include "support/Child.h"

namespace vanto::tool {
namespace {

using testing::ChildReport;
using testing::runTool;
using testing::ToolRun;

class ProfileLearnCommandTest : public testing::ProfileFixture {
 protected:
  static std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const std::string out_ = directory_ / "learned.sb";
};

TEST_F(ProfileLearnCommandTest, WritesAProfileAndEndsAsTheCommandDoes) {
  const ToolRun run = runTool({"profile", "learn", "--out", out_, "--", "sh", "-c", "exit 7"});
  EXPECT_EQ(static_cast<int>(run.status), 7);
  EXPECT_EQ(run.output + run.messages, "");
  EXPECT_EQ(runTool({"profile", "check", out_}).status, ExitStatus::Fine);
}

TEST_F(ProfileLearnCommandTest, PrintsTheProfileWhereNoFileIsNamed) {
  const ToolRun run = runTool({"profile", "learn", "--", "true"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_TRUE(run.output.starts_with("# What one run did of: true\n"));
  EXPECT_NE(run.output.find("\nversion 1\ninclude base\n"), std::string::npos);
}

TEST_F(ProfileLearnCommandTest, LeavesOutWhatExecutesAService) {
  const ToolRun run = runTool({"profile", "learn", "--bundle", bundle_.path(), "--", "true"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output.find("execute"), std::string::npos) << run.output;
  EXPECT_NE(runTool({"profile", "learn", "--", "true"}).output.find("allow read,execute "), std::string::npos);
}

TEST_F(ProfileLearnCommandTest, RunsNothingForABundleThatIsNone) {
  const std::string trace = directory_ / "ran";
  const ToolRun run = runTool({"profile", "learn", "--bundle", directory_ / "none", "--", "touch", trace});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_NE(run.messages, "");
  EXPECT_FALSE(std::filesystem::exists(trace));
}

TEST_F(ProfileLearnCommandTest, WritesTheSameTwice) {
  const std::vector<std::string> command{"profile", "learn", "--", "sh", "-c", "cat /etc/hostname >/dev/null; true"};
  EXPECT_EQ(runTool(command).output, runTool(command).output);
}

TEST_F(ProfileLearnCommandTest, ReplacesAFileOnlyWhenTold) {
  std::ofstream(out_) << "mine";
  const std::string trace = directory_ / "ran";
  const ToolRun run = runTool({"profile", "learn", "-o", out_, "--", "touch", trace});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages, "vanto: " + out_ + ": exists already; --force replaces it\n");
  EXPECT_EQ(contentsOf(out_), "mine");
  EXPECT_FALSE(std::filesystem::exists(trace));
  EXPECT_EQ(runTool({"profile", "learn", "--force", "--out", out_, "--", "true"}).status, ExitStatus::Fine);
  EXPECT_NE(contentsOf(out_), "mine");
}

TEST_F(ProfileLearnCommandTest, LeavesNothingButTheProfile) {
  EXPECT_EQ(runTool({"profile", "learn", "--out", out_, "--", "true"}).status, ExitStatus::Fine);
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory_.path()))
    count += entry.is_regular_file() ? 1 : 0;
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(runTool({"profile", "learn", "--out", "/no/such/directory/x", "--", "true"}).status, ExitStatus::Failed);
}

TEST_F(ProfileLearnCommandTest, EndsByTheSignalThatEndedTheCommand) {
  const auto outcome = testing::runInChild([&](const ChildReport&) {
    static_cast<void>(runTool({"profile", "learn", "--out", out_, "--", "sh", "-c", "kill -TERM $$"}));
  });
  EXPECT_EQ(outcome.end, "signal " + std::to_string(SIGTERM));
  EXPECT_EQ(runTool({"profile", "check", out_}).status, ExitStatus::Fine);
}

TEST_F(ProfileLearnCommandTest, SaysWhatItNeeds) {
  EXPECT_EQ(runTool({"profile", "learn", "--", "no-such-program-anywhere"}).messages,
            "vanto: no-such-program-anywhere: there is no such program\n");
  const auto outcome = testing::runInChild([&](const ChildReport& report) {
    setenv("PATH", directory_.path().c_str(), 1);
    const ToolRun run = runTool({"profile", "learn", "--", "/bin/true"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    report(run.messages.substr(0, run.messages.size() - 1));
  });
  EXPECT_EQ(outcome.lines,
            std::vector<std::string>{
                "vanto: strace, which traces the command, is not there; install it: apt-get install strace"});
}

TEST_F(ProfileLearnCommandTest, WritesNothingAboutACommandThatIsNoProgram) {
  const std::string text = profile("no program\n", "text");
  std::filesystem::permissions(text, std::filesystem::perms::owner_all);
  const ToolRun run = runTool({"profile", "learn", "--out", out_, "--", text});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages, "vanto: " + text + ": not executed: ENOEXEC\n");
  EXPECT_FALSE(std::filesystem::exists(out_));
}

}  // namespace
}  // namespace vanto::tool

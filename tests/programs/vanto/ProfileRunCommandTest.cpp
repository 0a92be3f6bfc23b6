// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileRunCommand.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "programs/vanto/ProfileFixture.h"
#include "support/Child.h"

namespace vanto::tool {
namespace {

using testing::ChildOutcome;
using testing::ChildReport;
using testing::runTool;
using testing::ToolRun;

class ProfileRunCommandTest : public testing::ProfileFixture {
 protected:
  /// Runs `command` in a child; the messages when it was not executed.
  ChildOutcome runUnder(const std::string& text, const std::vector<std::string>& command,
                        const std::string& identifier = "") const {
    std::vector<std::string> arguments{"profile", "run", profile(text)};
    if (!identifier.empty())
      arguments.insert(arguments.end(), {"--parameter", "VantoService_identifier=" + identifier});
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), command.begin(), command.end());
    return testing::runInChild([&](const ChildReport& report) {
      const ToolRun run = runTool(arguments);
      EXPECT_EQ(run.status, ExitStatus::Failed);
      std::string last = run.messages.substr(0, run.messages.size() - 1);
      if (last.find('\n') != last.npos) last.erase(0, last.rfind('\n') + 1);
      report(last);
    });
  }

  /// All messages where a program is not executed.
  std::string messagesUnder(const std::string& text, const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments{"profile", "run", profile(text)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {"--", "/usr/bin/env"});
    const ChildOutcome outcome = testing::runInChild([&](const ChildReport& report) {
      std::istringstream messages(runTool(arguments).messages);
      for (std::string line; std::getline(messages, line);) report(line);
    });
    std::string all;
    for (const std::string& line : outcome.lines) all += line + "\n";
    return all;
  }

  const std::string allowed_ = "include base\nallow read,execute /bin /usr/bin /lib /lib64 /usr/lib\n";
};

TEST_F(ProfileRunCommandTest, ExecutesTheCommandWithItsArguments) {
  EXPECT_EQ(runUnder(allowed_, {"/bin/sh", "-c", "exit 7"}).end, "exit status 7");
  EXPECT_EQ(runUnder(allowed_, {"sh", "-c", "exit 8"}).end, "exit status 8");
}

TEST_F(ProfileRunCommandTest, ConfinesTheCommand) {
  const std::string script = "exec 3< " + directory_ / "a.sb";
  EXPECT_NE(runUnder(allowed_, {"/bin/sh", "-c", script}).end, "exit status 0");
  EXPECT_EQ(runUnder(allowed_ + "allow read " + directory_.path() + "\n", {"/bin/sh", "-c", script}).end,
            "exit status 0");
}

TEST_F(ProfileRunCommandTest, SaysWhichRightIsMissing) {
  const ChildOutcome outcome = runUnder("include base\n", {"/usr/bin/env"});
  EXPECT_EQ(outcome.lines, std::vector<std::string>{"vanto: /usr/bin/env: not executed: Operation not permitted; the "
                                                    "profile does not allow read,execute at /usr/bin/env"});
  const ChildOutcome unread = runUnder("allow execute /usr\nallow read /etc\n", {"/usr/bin/env"});
  EXPECT_EQ(unread.lines, std::vector<std::string>{"vanto: /usr/bin/env: not executed: Permission denied; the profile "
                                                   "does not allow read at /usr/bin/env"});
  const ChildOutcome loader = runUnder("include base\nallow read,execute /usr/bin\n", {"/usr/bin/env"});
  EXPECT_EQ(loader.lines, std::vector<std::string>{"vanto: /usr/bin/env: not executed: Permission denied; the profile "
                                                   "may not allow read,execute for its loader or interpreter"});
}

TEST_F(ProfileRunCommandTest, TellsWhatBecameOfTheProfile) {
  const std::string messages = messagesUnder("allow read /no/such\nallow rename /tmp\n");
  EXPECT_TRUE(messages.starts_with("vanto: confinement: reduced; witness: denied: list /, ") ||
              messages.starts_with("vanto: confinement: full; witness: denied: list /, "))
      << messages;
  EXPECT_NE(messages.find("vanto: no rule for /no/such: No such file or directory\n"), messages.npos) << messages;
}

TEST_F(ProfileRunCommandTest, AsksForTheServiceWhoseValuesAreMissing) {
  const std::string file = "include base\nallow read ${VantoService_path}\n";
  const std::string messages = messagesUnder(file);
  EXPECT_TRUE(
      messages.starts_with("vanto: no rule for what VantoService_path stands for, which is not known; say with "
                           "--bundle, or --parameter\n"))
      << messages;
  EXPECT_EQ(messages.find("no rule for /$"), messages.npos) << messages;
  setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
  EXPECT_EQ(messagesUnder(file, {"--bundle", bundle_.path()}).find("no rule"), messages.npos);
  unsetenv("XDG_RUNTIME_DIR");
}

TEST_F(ProfileRunCommandTest, GivesWhatThePlatformItselfNeedsAsToAService) {
  setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
  const std::string domain = directory_ / "vanto/user";
  const std::vector<std::string> listen{
      "/usr/bin/python3", "-I", "-S", "-c",
      "import socket, sys; s = socket.socket(socket.AF_UNIX); s.bind('" + domain + "/org.example.a'); s.listen()"};
  const std::vector<std::string> write{"/bin/sh", "-c", "mkdir -p " + domain + " && : > " + domain + "/job"};
  EXPECT_NE(runUnder(allowed_, listen).end, "exit status 0");
  EXPECT_FALSE(std::filesystem::exists(domain));
  EXPECT_EQ(runUnder(allowed_, listen, "org.example.a").end, "exit status 0");
  EXPECT_TRUE(std::filesystem::is_socket(domain + "/org.example.a"));
  EXPECT_NE(runUnder(allowed_ + "allow processes\n", write, "org.example.a").end, "exit status 0");
  unsetenv("XDG_RUNTIME_DIR");
}

TEST_F(ProfileRunCommandTest, LeavesNoSignalIgnored) {
  std::signal(SIGXFSZ, SIG_IGN);
  EXPECT_EQ(runUnder(allowed_, {"/bin/sh", "-c", "kill -XFSZ $$"}).end, "signal " + std::to_string(SIGXFSZ));
  std::signal(SIGXFSZ, SIG_DFL);
}

TEST_F(ProfileRunCommandTest, RunsNothingUnconfined) {
  EXPECT_EQ(runUnder("nonsense\n", {"/bin/sh", "-c", "exit 0"}).lines.size(), 1U);
  EXPECT_EQ(runUnder(allowed_, {"no-such-program-anywhere"}).lines,
            std::vector<std::string>{"vanto: no-such-program-anywhere: there is no such program"});
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0

// The tool with a real manager and real services.
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <regex>

#include "support/BundleBuilder.h"
#include "system/ManagerFixture.h"
#include "system/ToolProcess.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

class ManagerTool : public ManagerFixture {
 protected:
  /// A file with a job, as the tool prints jobs.
  std::string jobFile(const std::string& name, const std::string& program) const {
    const std::string path = directory_ / (name + ".json");
    std::ofstream(path) << "{\"Label\": \"" << name << "\", \"MachServices\": {\"" << name
                        << "\": true}, \"EnableTransactions\": true, \"ProgramArguments\": "
                           "[\"/usr/libexec/vantoproxy\", \""
                        << program << "\"]}";
    return path;
  }
  static ToolOutcome tool(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin() + 1, {"--domain", "user"});
    return runToolProcess(arguments);
  }
  static std::string stateText() { return text(stateOf(echo), "state"); }
};

TEST_F(ManagerTool, LoadsAndGivesOrders) {
  const ManagerProcess manager(setting());
  const std::string file = jobFile(echo, program("echo", echo));
  ToolOutcome outcome = tool({"load", file});
  EXPECT_EQ(outcome.output, "org.example.echo: loaded into the user domain\n") << outcome.messages;
  EXPECT_EQ(outcome.end, "exit status 0");
  const std::int64_t first = call(echo);
  EXPECT_GT(first, 0);

  EXPECT_EQ(tool({"stop", echo}).output, "org.example.echo: stopped; the next client starts it again\n");
  EXPECT_EQ(stateText(), "resting");
  EXPECT_TRUE(tool({"start", echo}).output.starts_with("org.example.echo: started, process "));
  const std::int64_t second = call(echo);
  EXPECT_NE(second, first);
  EXPECT_EQ(tool({"restart", echo}).end, "exit status 0");
  EXPECT_NE(call(echo), second);

  EXPECT_EQ(tool({"hold", echo}).end, "exit status 0");
  EXPECT_EQ(refusalOf(echo), "15 org.example.echo: not started: held: its owner has stopped it");
  EXPECT_EQ(tool({"why", echo}).output,
            "org.example.echo: held, and has not failed; no client starts it until vanto start\n");
  EXPECT_EQ(tool({"start", echo}).end, "exit status 0");

  EXPECT_EQ(tool({"load", jobFile(echo, program("tracked", echo))}).output,
            "org.example.echo: replaced in the user domain\n");
  EXPECT_EQ(tool({"unload", echo}).output, "org.example.echo: unloaded\n");
  outcome = tool({"stop", echo});
  EXPECT_EQ(outcome.end, "exit status 2");
  EXPECT_TRUE(outcome.messages.starts_with("vanto: org.example.echo: ")) << outcome.messages;
}

TEST_F(ManagerTool, ShowsStatesAndLogs) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo, "say \x1b[2Jhello");
  ASSERT_TRUE(waitUntil([] { return !logOf(echo).empty(); }));
  EXPECT_TRUE(std::regex_match(tool({"status"}).output,
                               std::regex("LABEL .*\norg\\.example\\.echo  running  " + std::to_string(pid) +
                                          " +[0-9.]+ s +none +1       0         -\n")))
      << tool({"status"}).output;
  EXPECT_NE(tool({"status", "--json", echo}).output.find("\"pid\": " + std::to_string(pid)), std::string::npos);
  const std::string logs = tool({"logs", "-n", "1", echo}).output;
  EXPECT_TRUE(logs.ends_with("  " + std::to_string(pid) + "  \\x1b[2Jhello\n")) << logs;
}

TEST_F(ManagerTool, TellsWhyAServiceDoesNotStart) {
  const ManagerProcess manager(setting());
  ToolOutcome outcome = tool({"load", jobFile(echo, directory_ / "missing")});
  EXPECT_EQ(outcome.end, "exit status 1");
  EXPECT_TRUE(outcome.messages.ends_with("/missing: No such file or directory\n")) << outcome.messages;
  EXPECT_NE(refusalOf(echo), "");
  outcome = tool({"why", echo});
  EXPECT_EQ(outcome.end, "exit status 1");
  EXPECT_NE(outcome.output.find("  stage    executable: nothing that can be executed"), outcome.output.npos)
      << outcome.output;
  EXPECT_NE(outcome.output.find("  cause    No such file or directory (ENOENT, error 2)\n"), outcome.output.npos)
      << outcome.output;

  ASSERT_EQ(load("exits-3", "org.example.exits"), "");
  EXPECT_NE(refusalOf("org.example.exits"), "");
  outcome = tool({"why", "org.example.exits"});
  EXPECT_NE(outcome.output.find("  stage    listening: "), outcome.output.npos) << outcome.output;
  EXPECT_NE(outcome.output.find("  cause    ended with exit status 3\n"), outcome.output.npos) << outcome.output;
  EXPECT_NE(outcome.output.find("  cannot go on\n"), outcome.output.npos) << outcome.output;
}

TEST_F(ManagerTool, NamesTheJobOnceWhenAnOrderFails) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(tool({"load", jobFile(echo, program("exits-3", echo))}).end, "exit status 0");
  for (const char* order : {"start", "restart"}) {
    const std::string messages = tool({order, echo}).messages;
    EXPECT_TRUE(messages.starts_with("vanto: org.example.echo: listening: exited with status 3")) << messages;
  }
  ASSERT_EQ(tool({"unload", echo}).end, "exit status 0");

  ASSERT_EQ(rmdir(socketPath(".tolvend/held").c_str()), 0);
  ASSERT_EQ(tool({"load", jobFile(echo, program("echo", echo))}).end, "exit status 0");
  std::string messages = tool({"hold", echo}).messages;
  EXPECT_TRUE(messages.starts_with("vanto: org.example.echo: not held: ")) << messages;

  std::ofstream(socketPath("org.example.blocked")) << "";
  const std::string file = jobFile("org.example.blocked", program("echo", echo));
  messages = tool({"load", file}).messages;
  EXPECT_EQ(messages,
            "vanto: " + file + ": not loaded: " + socketPath("org.example.blocked") + " is no socket; move it away\n");
}

TEST_F(ManagerTool, LoadsABundleHoweverManySlashesAreGiven) {
  const ManagerProcess manager(setting());
  static_cast<void>(BundleBuilder(directory_.path(), "A.vanto").identifier(echo).executable("a").service().build());
  const ToolOutcome outcome = tool({"load", "/" + directory_.path() + "//A.vanto"});
  EXPECT_EQ(outcome.output, "org.example.echo: loaded into the user domain\n") << outcome.messages;
  EXPECT_EQ(text(stateOf(echo), "program"), directory_ / "A.vanto/Contents/Linux/a");
}

TEST_F(ManagerTool, WatchesUntilTheManagerEnds) {
  ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::string path = directory_ / "watched";
  const std::string command =
      std::string(VANTO_TEST_TOOL " status --domain user --json --watch > '") + path + "' 2>&1; exit $?";
  FILE* watch = popen(command.c_str(), "we");
  const auto seen = [&path](const std::string& wanted) {
    return waitUntil([&] {
      std::ifstream file(path);
      return std::string(std::istreambuf_iterator<char>(file), {}).find(wanted) != std::string::npos;
    });
  };
  EXPECT_TRUE(seen("\"state\":\"resting\""));
  EXPECT_GT(call(echo), 0);
  EXPECT_TRUE(seen("\"state\":\"running\""));
  EXPECT_EQ(manager.terminate(), "exit status 0");
  EXPECT_TRUE(seen("vanto: the service manager of the user domain has ended\n"));
  EXPECT_EQ(WEXITSTATUS(pclose(watch)), 2);
}

TEST_F(ManagerTool, WritesToNoConnectionWhenItsOutputIsClosed) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  ToolSetting closed;
  closed.prepare = [] {
    close(STDOUT_FILENO);
  };
  for (const char* option : {"--json", "--watch"}) {
    const ToolOutcome outcome = runToolProcess({"status", "--domain", "user", option}, closed);
    EXPECT_EQ(outcome.end, "exit status 2");
    EXPECT_EQ(outcome.messages, "vanto: cannot write the output: Bad file descriptor\n");
  }
}

}  // namespace
}  // namespace vanto::test

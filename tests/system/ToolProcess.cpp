// SPDX-License-Identifier: Apache-2.0
#include "system/ToolProcess.h"

#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::test {
namespace {

std::string contentsOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

[[noreturn]] void execute(const std::vector<std::string>& arguments) {
  std::vector<char*> vector{const_cast<char*>("vanto")};
  for (const std::string& argument : arguments) vector.push_back(const_cast<char*>(argument.c_str()));
  vector.push_back(nullptr);
  execv(VANTO_TEST_TOOL, vector.data());
  _exit(127);
}

std::string endOf(pid_t pid) {
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  return WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                           : "signal " + std::to_string(WTERMSIG(status));
}

}  // namespace

ToolOutcome runToolProcess(const std::vector<std::string>& arguments, const ToolSetting& setting) {
  const TemporaryDirectory directory;
  std::ofstream(directory / "input") << setting.input;
  const Fd input(open((directory / "input").c_str(), O_RDONLY | O_CLOEXEC));
  const Fd output(open((directory / "output").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const Fd messages(open((directory / "messages").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(input.get(), STDIN_FILENO);
    dup2(output.get(), STDOUT_FILENO);
    dup2(messages.get(), STDERR_FILENO);
    setting.prepare();
    execute(arguments);
  }
  const std::string end = endOf(pid);
  return {end, contentsOf(directory / "output"), contentsOf(directory / "messages")};
}

ToolOutcome runToolOnTerminal(const std::vector<std::string>& arguments, unsigned short columns,
                              const std::function<void()>& prepare) {
  winsize size{};
  size.ws_col = columns;
  size.ws_row = 24;
  int terminal = -1;
  const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
  if (pid == 0) {
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    prepare();
    execute(arguments);
  }
  const Fd master(terminal);
  std::string output;
  char buffer[4096];
  // The end of the last process on a terminal is an error for its reader.
  for (ssize_t count; (count = read(master.get(), buffer, sizeof buffer)) > 0;) {
    output.append(buffer, static_cast<std::size_t>(count));
  }
  std::erase(output, '\r');
  return {endOf(pid), output, ""};
}

}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "programs/vantoproxy/ProxyProcess.h"

#include <array>
#include <cstring>
#include <fstream>
#include <sstream>

#include <fcntl.h>
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

std::string readToEnd(int descriptor) {
  std::string all;
  char buffer[64];
  for (ssize_t count; (count = read(descriptor, buffer, sizeof buffer)) > 0;) {
    all.append(buffer, static_cast<std::size_t>(count));
  }
  return all;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

std::string endOf(pid_t pid) {
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  return WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                           : "signal " + std::to_string(WTERMSIG(status));
}

Fd outputFile(const std::string& path) {
  return Fd(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

}  // namespace

std::vector<std::string> ProxyOutcome::lines() const {
  std::vector<std::string> found;
  std::istringstream text(output);
  for (std::string line; std::getline(text, line);) found.push_back(line);
  return found;
}

std::vector<std::string> ProxyOutcome::lines(const std::string& word) const {
  std::vector<std::string> found;
  for (const std::string& line : lines()) {
    if (line.starts_with(word + " ")) found.push_back(line.substr(word.size() + 1));
  }
  return found;
}

std::string recordOf(unsigned stage, int error) {
  std::string record(8, '\0');
  std::memcpy(record.data(), &stage, 4);
  std::memcpy(record.data() + 4, &error, 4);
  return record;
}

ProxyOutcome runProxyProcess(const std::vector<std::string>& arguments, const ProxySetting& setting) {
  const TemporaryDirectory directory;
  const Fd input(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  const Fd output = outputFile(directory / "output");
  const Fd messages = outputFile(directory / "messages");
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  Fd reading(ends[0]);
  Fd writing(ends[1]);
  std::vector<std::string> environment = setting.environment;
  if (setting.statusPipe != ProxySetting::StatusPipe::None) {
    environment.push_back("VANTO_EXEC_STATUS=" + std::to_string(statusDescriptor));
  }
  if (setting.statusPipe == ProxySetting::StatusPipe::ReaderGone) reading.reset();
  std::vector<std::string> all{"vantoproxy"};
  all.insert(all.end(), arguments.begin(), arguments.end());

  ProxyOutcome outcome;
  outcome.pid = fork();
  if (outcome.pid == 0) {
    dup2(input.get(), STDIN_FILENO);
    dup2(output.get(), STDOUT_FILENO);
    dup2(messages.get(), STDERR_FILENO);
    if (setting.statusPipe != ProxySetting::StatusPipe::None) dup2(writing.get(), statusDescriptor);
    setting.prepare();
    execve(VANTO_TEST_PROXY, pointersTo(all).data(), pointersTo(environment).data());
    _exit(99);
  }
  writing.reset();
  if (reading) outcome.record = readToEnd(reading.get());
  outcome.end = endOf(outcome.pid);
  outcome.output = contentsOf(directory / "output");
  outcome.messages = contentsOf(directory / "messages");
  return outcome;
}

}  // namespace vanto::test

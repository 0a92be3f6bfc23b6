// SPDX-License-Identifier: Apache-2.0
#include "system/ServiceProcess.h"

#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace vanto::test {

namespace {

/// No step of a test takes this long on a machine that works.
constexpr int patienceMilliseconds = 60'000;

std::string contentsOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::string textOfStatus(int status) {
  if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
  return "signal " + std::to_string(WTERMSIG(status));
}

std::uint64_t wordAt(int memory, std::uint64_t address) {
  std::uint64_t word = 0;
  EXPECT_EQ(pread(memory, &word, sizeof word, static_cast<off_t>(address)), static_cast<ssize_t>(sizeof word));
  return word;
}

std::string textAt(int memory, std::uint64_t address) {
  char text[256] = {};
  EXPECT_GT(pread(memory, text, sizeof text - 1, static_cast<off_t>(address)), 0);
  return text;
}

/// Follows a traced process and its threads up to the stop before SIGABRT is delivered. False when it ends before.
bool runUntilAbort(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) return false;
  ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
  ptrace(PTRACE_CONT, pid, nullptr, nullptr);
  for (;;) {
    const pid_t thread = waitpid(-1, &status, __WALL);
    if (thread < 0 || (thread == pid && !WIFSTOPPED(status))) return false;
    if (!WIFSTOPPED(status)) continue;
    const int signal = WSTOPSIG(status);
    if (signal == SIGABRT) return true;
    // A new thread begins with SIGSTOP and its maker stops with SIGTRAP; neither is for the process.
    const bool ofTracing = signal == SIGTRAP || signal == SIGSTOP;
    ptrace(PTRACE_CONT, thread, nullptr, reinterpret_cast<void*>(static_cast<std::intptr_t>(ofTracing ? 0 : signal)));
  }
}

/// Ends a traced process. Its first thread is only over when whoever traces them has seen the others end.
void endTraced(pid_t pid) {
  kill(pid, SIGKILL);
  pid_t ended = 0;
  while (ended != pid && (ended >= 0 || errno == EINTR)) ended = waitpid(-1, nullptr, __WALL);
}

}  // namespace

ServiceProcess::ServiceProcess(const std::string& executable, const std::vector<std::string>& arguments, Traced traced,
                               const std::function<void()>& prepare) {
  std::vector<char*> vector{const_cast<char*>(executable.c_str())};
  for (const std::string& argument : arguments) vector.push_back(const_cast<char*>(argument.c_str()));
  vector.push_back(nullptr);
  setenv("VANTO_TEST_LOG", (directory_ / "log").c_str(), 1);
  const Fd outputFile(open((directory_ / "output").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));

  pid_ = fork();
  if (pid_ == 0) {
    if (traced == Traced::Yes) ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    dup2(outputFile.get(), STDOUT_FILENO);
    dup2(outputFile.get(), STDERR_FILENO);
    if (prepare) prepare();
    execv(vector[0], vector.data());
    _exit(127);
  }
  process_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  EXPECT_TRUE(process_);
}

ServiceProcess::~ServiceProcess() {
  if (reaped_) return;
  kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, __WALL) < 0 && errno == EINTR) {
  }
}

bool ServiceProcess::hasEnded(int milliseconds) const {
  pollfd ended{process_.get(), POLLIN, 0};
  return poll(&ended, 1, milliseconds) == 1;
}

int ServiceProcess::waitForEnd() {
  if (!hasEnded(patienceMilliseconds)) return -1;
  int status = -1;
  reaped_ = waitpid(pid_, &status, 0) == pid_;
  return status;
}

std::string ServiceProcess::waitForEndAsText() {
  const int status = waitForEnd();
  return status == -1 ? "still running" : textOfStatus(status);
}

void ServiceProcess::terminate() const {
  kill(pid_, SIGTERM);
}

std::uint64_t ServiceProcess::annotationsAddress() const {
  const std::string log = contentsOf(directory_ / "log");
  const std::string name = "annotations at ";
  const std::size_t place = log.find(name);
  return place == std::string::npos ? 0 : std::stoull(log.substr(place + name.size()));
}

std::string ServiceProcess::crashMessage() {
  reaped_ = true;
  if (!runUntilAbort(pid_)) return "ended without SIGABRT";
  const std::uint64_t record = annotationsAddress();
  const Fd memory(open(("/proc/" + std::to_string(pid_) + "/mem").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(wordAt(memory.get(), record), 4U);
  for (std::uint64_t word = 2; word < 7; ++word) EXPECT_EQ(wordAt(memory.get(), record + word * 8), 0U);
  const std::string message = textAt(memory.get(), wordAt(memory.get(), record + 8));
  endTraced(pid_);
  return message;
}

vanto_object_t ServiceProcess::connect(const char* name) const {
  for (int tries = 0;; ++tries) {
    const vanto_object_t connection = vanto_connect(name, nullptr, 30'000'000'000);
    const bool nobody = vanto_error_get_code(connection) == VANTO_ERROR_NO_SERVICE;
    if (!nobody || tries > patienceMilliseconds || hasEnded(1)) return connection;
    vanto_release(connection);
  }
}

std::vector<std::string> ServiceProcess::log() const {
  std::vector<std::string> lines;
  std::istringstream text(contentsOf(directory_ / "log"));
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::string ServiceProcess::output() const {
  return contentsOf(directory_ / "output");
}

}  // namespace vanto::test

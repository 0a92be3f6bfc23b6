// SPDX-License-Identifier: Apache-2.0
#include "system/ManagerProcess.h"

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace vanto::test {
namespace {

constexpr int patienceMilliseconds = 60'000;

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

std::string fileText(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

[[noreturn]] void execute(const ManagerSetting& setting) {
  std::vector<char*> arguments{const_cast<char*>("tolvend")};
  for (const std::string& argument : setting.arguments) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  execv(setting.program, arguments.data());
  _exit(99);
}

}  // namespace

ManagerProcess::ManagerProcess(const ManagerSetting& setting) {
  notices_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const std::string path = directory_ / "notices";
  const sockaddr_un address = addressOf(path);
  EXPECT_EQ(bind(notices_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  // Also for a manager that changes its user.
  chmod(directory_.path().c_str(), 0755);
  chmod(path.c_str(), 0666);
  pid_ = fork();
  if (pid_ == 0) {
    const int messages = open((directory_ / "messages").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(messages, STDERR_FILENO);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    setting.prepare();
    execute(setting);
  }
  awaitReady();
}

ManagerProcess::~ManagerProcess() {
  if (!end_.empty()) return;
  kill(pid_, SIGTERM);
  static_cast<void>(waitForEnd());
}

void ManagerProcess::awaitReady() {
  const Fd process(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  pollfd sets[] = {{notices_.get(), POLLIN, 0}, {process.get(), POLLIN, 0}};
  ASSERT_GT(poll(sets, 2, patienceMilliseconds), 0) << "neither ready nor ended";
  char text[64] = {};
  isReady_ = recv(notices_.get(), text, sizeof text - 1, MSG_DONTWAIT) > 0 && std::string(text) == "READY=1";
}

void ManagerProcess::signal(int number) const {
  kill(pid_, number);
}

std::string ManagerProcess::waitForEnd() {
  if (!end_.empty()) return end_;
  const Fd process(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  pollfd set{process.get(), POLLIN, 0};
  if (poll(&set, 1, patienceMilliseconds) != 1) {
    ADD_FAILURE() << "the manager does not end: " << messages();
    kill(pid_, SIGKILL);
  }
  int status = 0;
  EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
  end_ = WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                           : "signal " + std::to_string(WTERMSIG(status));
  return end_;
}

std::string ManagerProcess::terminate() {
  signal(SIGTERM);
  return waitForEnd();
}

std::string ManagerProcess::messages() const {
  return fileText(directory_ / "messages");
}

long ManagerProcess::processorTicks() const {
  std::string text = fileText("/proc/" + std::to_string(pid_) + "/stat");
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; i++) fields >> skipped;
  long user = 0;
  long system = 0;
  fields >> user >> system;
  return user + system;
}

bool isAlive(pid_t pid) {
  const std::string text = fileText("/proc/" + std::to_string(pid) + "/stat");
  const std::size_t end = text.rfind(") ");
  return end != std::string::npos && text[end + 2] != 'Z';
}

void stopProcess(pid_t pid) {
  ASSERT_EQ(kill(pid, SIGSTOP), 0);
  const std::string threads = "/proc/" + std::to_string(pid) + "/task";
  ASSERT_TRUE(waitUntil([&] {
    for (const auto& thread : std::filesystem::directory_iterator(threads)) {
      const std::string text = fileText(thread.path() / "stat");
      const std::size_t end = text.rfind(") ");
      if (end == std::string::npos || text[end + 2] != 'T') return false;
    }
    return true;
  }));
}

bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(patienceMilliseconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Ephemeral.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <spawn.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tolvend/ErrorNumber.h"

namespace vanto::manager {

namespace {

constexpr int signalStatus = 128;

std::string runDirectory(const std::string& directory) {
  return directory + "/run";
}

/// Starts the command with no signal blocked, and none ignored but those that whoever started the manager has chosen to
/// keep from it. 0, or an errno value.
int start(const std::vector<std::string>& command, int input, pid_t& pid) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT}) sigdelset(&all, signal);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int error = posix_spawnp(&pid, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

std::string Ephemeral::prepare(const std::string& directory) {
  directory_ = directory;
  hasMadeDirectory_ = mkdir(directory.c_str(), 0700) == 0;
  if (!hasMadeDirectory_ && errno != EEXIST) return directory + " cannot be made: " + errorNumberText(errno);
  const std::string run = runDirectory(directory);
  hasMadeRun_ = mkdir(run.c_str(), 0700) == 0;
  if (!hasMadeRun_) {
    const std::string error = errorNumberText(errno);
    remove();
    return run + " cannot be made: " + error + "; name another directory, or remove it";
  }
  setenv("XDG_RUNTIME_DIR", run.c_str(), 1);
  unsetenv("XDG_SESSION_ID");
  return {};
}

std::string Ephemeral::run(const std::vector<std::string>& command, int input, std::function<void(int)> ended) {
  ended_ = std::move(ended);
  if (const int error = start(command, input, pid_); error != 0) {
    pid_ = 0;
    return command.front() + " cannot be run: " + errorNumberText(error);
  }
  process_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  const int error = process_ ? watch_.start(process_.get(), EPOLLIN, [this](std::uint32_t) { reap(); }) : errno;
  if (error == 0) return {};
  kill();
  waitpid(std::exchange(pid_, 0), nullptr, 0);
  return command.front() + " cannot be watched: " + errorNumberText(error);
}

void Ephemeral::terminate() const noexcept {
  if (pid_ > 0) ::kill(pid_, SIGTERM);
}

void Ephemeral::kill() const noexcept {
  if (pid_ > 0) ::kill(pid_, SIGKILL);
}

void Ephemeral::reap() {
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) != pid_) return;
  pid_ = 0;
  watch_.stop();
  process_.reset();
  ended_(WIFEXITED(status) ? WEXITSTATUS(status) : signalStatus + WTERMSIG(status));
}

void Ephemeral::remove() noexcept {
  std::error_code ignored;
  if (hasMadeRun_) std::filesystem::remove_all(runDirectory(directory_), ignored);
  if (hasMadeDirectory_) rmdir(directory_.c_str());
  hasMadeRun_ = hasMadeDirectory_ = false;
}

}  // namespace vanto::manager

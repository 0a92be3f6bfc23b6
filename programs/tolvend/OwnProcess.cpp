// SPDX-License-Identifier: Apache-2.0
#include "tolvend/OwnProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tolvend/ErrorNumber.h"
#include "tolvend/Spawn.h"
#include "vantoproxy/ExecStatus.h"

namespace vanto::manager {

namespace {

constexpr mode_t fileModeMask = 077;

/// What tells services who their user is, where, and in which language.
constexpr const char* documented[] = {"HOME", "LANG",   "LANGUAGE", "LOGNAME",         "PATH",
                                      "TZ",   "TMPDIR", "USER",     "XDG_RUNTIME_DIR", "XDG_SESSION_ID"};

/// /dev/null in the place of each descriptor below `count` that is closed. 0, or an errno value.
int fillUpTo(int count) noexcept {
  for (;;) {
    const int descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (descriptor < 0) return errno;
    if (descriptor < count) continue;
    close(descriptor);
    return 0;
  }
}

void raiseDescriptors(FormerState& former) noexcept {
  if (getrlimit(RLIMIT_NOFILE, &former.descriptors) != 0) return;
  rlimit raised = former.descriptors;
  raised.rlim_cur = raised.rlim_max;
  former.hasRaisedDescriptors = former.descriptors.rlim_cur < raised.rlim_max && setrlimit(RLIMIT_NOFILE, &raised) == 0;
}

/// SIGTERM is blocked and read, but its default action would have the library take it over.
void handleNothing(int) noexcept {}

bool isIgnored(int signal) noexcept {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

std::string prepareProcess(FormerState& former) {
  if (const int error = fillUpTo(STDERR_FILENO + 1); error != 0) return "/dev/null: " + errorNumberText(error);
  close_range(STDERR_FILENO + 1, ~0U, 0);
  if (const int error = fillUpTo(reservedDescriptors); error != 0) return "/dev/null: " + errorNumberText(error);
  former.input.reset(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, reservedDescriptors));
  // Descriptor 3 is /dev/null. What is duplicated is not close-on-exec: services begin with it.
  if (!former.input || dup2(serviceDescriptor, STDIN_FILENO) < 0) return "standard input: " + errorNumberText(errno);
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) fcntl(descriptor, F_SETFD, 0);
  raiseDescriptors(former);
  umask(fileModeMask);
  std::signal(SIGPIPE, SIG_IGN);
  // Ignored, it would have children vanish without a word.
  std::signal(SIGCHLD, SIG_DFL);
  struct sigaction action {};
  action.sa_handler = &handleNothing;
  sigaction(SIGTERM, &action, nullptr);
  return {};
}

Fd openSignals() noexcept {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGCHLD}) sigaddset(&signals, signal);
  // Whoever has started this process so wants it to outlive the terminal. What is blocked would come all the same.
  for (const int signal : {SIGINT, SIGHUP}) {
    if (!isIgnored(signal)) sigaddset(&signals, signal);
  }
  if (sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) return {};
  return Fd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

std::vector<std::string> serviceEnvironment(const std::vector<std::string>& keep) {
  std::vector<std::string> entries;
  const auto add = [&](const std::string& name) {
    if (const char* value = getenv(name.c_str())) entries.push_back(name + "=" + value);
  };
  for (const char* name : documented) add(name);
  for (char** variable = environ; *variable != nullptr; variable++) {
    if (std::string_view(*variable).starts_with("LC_")) entries.emplace_back(*variable);
  }
  std::string kept;
  for (const std::string& name : keep) {
    add(name);
    kept += (kept.empty() ? "" : ":") + name;
  }
  if (!kept.empty()) entries.push_back(std::string(keepVariable) + "=" + kept);
  // The socket or connection, and the link.
  entries.emplace_back("LISTEN_FDS=2");
  entries.push_back(std::string(execStatusVariable) + "=" + std::to_string(statusDescriptor));
  return entries;
}

}  // namespace vanto::manager

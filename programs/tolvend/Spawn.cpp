// SPDX-License-Identifier: Apache-2.0

// The child shares the manager's memory, and the manager sleeps, until the child has executed the proxy: nothing is
// copied, however large the manager is. So the child does nothing but system calls on what was made ready for it. The
// manager has no signal handler that could run in it: what it waits for is blocked and read from a descriptor.
#include "tolvend/Spawn.h"

#include <cerrno>
#include <csignal>
#include <utility>

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vanto::manager {

namespace {

/// What the child reads.
struct Plan {
  const char* proxy;
  char* const* arguments;
  char* const* environment;
  const SpawnRequest& request;
  const rlimit* descriptors;
  /// What the child leaves behind when it cannot execute the proxy.
  volatile int error;
};

/// The child. Ends in the proxy or at once.
int runChild(void* context) noexcept {
  Plan& plan = *static_cast<Plan*>(context);
  const SpawnRequest& request = plan.request;
  // Descriptor 0 is /dev/null in the manager itself. What is duplicated is not close-on-exec.
  const bool isReady = dup2(request.log, STDOUT_FILENO) >= 0 && dup2(request.log, STDERR_FILENO) >= 0 &&
                       dup2(request.service, serviceDescriptor) >= 0 && dup2(request.link, linkDescriptor) >= 0 &&
                       dup2(request.status, statusDescriptor) >= 0 &&
                       (plan.descriptors == nullptr || setrlimit(RLIMIT_NOFILE, plan.descriptors) == 0);
  if (isReady) execve(plan.proxy, plan.arguments, plan.environment);
  plan.error = errno;
  _exit(127);
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts, const std::string& last) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 2);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(const_cast<char*>(last.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

/// Waits for a child that is about to end.
void reap(pid_t pid) noexcept {
  while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

SpawnError spawn(const SpawnSetting& setting, const SpawnRequest& request, Spawned& spawned) {
  const std::string names = "LISTEN_FDNAMES=" + request.name + ":.manager";
  const std::vector<char*> environment = pointersTo(setting.environment, names);
  char* const arguments[] = {const_cast<char*>("vantoproxy"), const_cast<char*>(request.program), nullptr};
  Plan plan{setting.proxy.c_str(),
            arguments,
            environment.data(),
            request,
            setting.shallSetDescriptors ? &setting.descriptors : nullptr,
            0};
  constexpr std::size_t stackSize = 16384;
  alignas(16) char stack[stackSize];
  int descriptor = -1;
  const pid_t pid =
      clone(&runChild, stack + stackSize, CLONE_VM | CLONE_VFORK | CLONE_PIDFD | SIGCHLD, &plan, &descriptor);
  if (pid < 0) return {SpawnError::Step::Process, errno};
  // Close-on-exec from birth.
  Fd process(descriptor);
  if (const int error = plan.error; error != 0) {
    reap(pid);
    return {SpawnError::Step::Proxy, error};
  }
  spawned = {pid, std::move(process)};
  return {};
}

}  // namespace vanto::manager

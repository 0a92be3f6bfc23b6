// SPDX-License-Identifier: Apache-2.0
#include "SystemCalls.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Medians.h"

namespace vanto::bench {
namespace {

constexpr int stopOfCall = SIGTRAP | 0x80;

/// Traces a process until its object ends.
class Tracer {
 public:
  explicit Tracer(pid_t process) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
      const pid_t thread = std::atoi(task.path().filename().c_str());
      require(ptrace(PTRACE_SEIZE, thread, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE) == 0, "tracing");
      ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr);
      int status = 0;
      require(waitpid(thread, &status, __WALL) == thread, "stopping a thread");
      proceed(thread);
      threads_.insert(thread);
    }
  }
  ~Tracer() {
    for (const pid_t thread : threads_) {
      ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr);
      int status = 0;
      waitpid(thread, &status, __WALL);
      ptrace(PTRACE_DETACH, thread, nullptr, nullptr);
    }
  }
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  /// Counts until the child `worker` has ended, which must be well.
  [[nodiscard]] long countUntilEndOf(pid_t worker) {
    long stops = 0;
    for (;;) {
      int status = 0;
      const pid_t stopped = waitpid(-1, &status, __WALL);
      if (stopped < 0 && errno == EINTR) continue;
      if (stopped == worker) {
        require(status == 0, "the work under the tracer");
        // Each has a stop when it begins and one when it ends.
        return (stops + 1) / 2;
      }
      require(WIFSTOPPED(status), "a traced process has ended");
      threads_.insert(stopped);
      if (WSTOPSIG(status) == stopOfCall) ++stops;
      proceed(stopped);
    }
  }

 private:
  static void proceed(pid_t thread) { ptrace(PTRACE_SYSCALL, thread, nullptr, nullptr); }

  std::set<pid_t> threads_;
};

}  // namespace

long countSystemCalls(pid_t process, const std::function<void()>& work) {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  require(std::distance(begin(threads), end(threads)) == 1, "one thread, so that the child can do as this process");
  Tracer tracer(process);
  const pid_t worker = fork();
  if (worker == 0) {
    work();
    _exit(0);
  }
  return tracer.countUntilEndOf(worker);
}

}  // namespace vanto::bench

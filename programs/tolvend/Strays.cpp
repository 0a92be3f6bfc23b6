// SPDX-License-Identifier: Apache-2.0

// Orphans come to the manager from below it: from services, and from whatever else it has for children, which are those
// that its process had before it executed the manager, the command that it runs, and, for the first process of a
// system or a container, everything. Where there is nothing else, each orphan is a service's. Where there is, a session
// or an environment must tell so: a process that has left both behind is not known, and lives.
#include "tolvend/Strays.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <ctime>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "process/Contents.h"
#include "tolvend/ServiceMark.h"
#include "value/Fd.h"

namespace vanto::manager {

namespace {

/// More children than the list holds are met in a further sweep: each that ends brings one.
constexpr std::size_t listBytes = std::size_t{1} << 20;

std::vector<pid_t> listChildren() {
  std::vector<pid_t> children;
  const Fd file(open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC));
  GrowingBytes list;
  if (!file || readContents(file.get(), listBytes, list) != 0) return children;
  std::string_view text = list.text();
  pid_t pid = 0;
  for (;;) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
    if (error != std::errc()) return children;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()) + (end != text.data() + text.size() ? 1 : 0));
    children.push_back(pid);
  }
}

/// At most a moment: where the signal is not blocked it is not seen here.
void awaitEndOfChild() noexcept {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  const timespec moment{0, 5'000'000};
  sigtimedwait(&signals, nullptr, &moment);
}

}  // namespace

int Strays::adopt() {
  if (prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0) return errno;
  areOthersExpected_ = getpid() == 1 || !listChildren().empty();
  return 0;
}

bool Strays::isLeftBehind(pid_t pid) const {
  const pid_t session = getsid(pid);
  const pid_t mark = readServiceMark(pid);
  // It is for the service to say how long they live.
  if (services_.contains(session) || services_.contains(mark)) return false;
  if (!areOthersExpected_) return true;
  const std::uint64_t now = monotonicNow();
  return services_.hasEnded(session, now) || services_.hasEnded(mark, now);
}

bool Strays::sweep(pid_t command) const {
  bool wasAny = false;
  for (const pid_t pid : listChildren()) {
    if (services_.contains(pid) || pid == command) continue;
    // A child's number is nobody else's until it is reaped, which is done here only.
    if (isLeftBehind(pid)) {
      kill(pid, SIGKILL);
      wasAny = true;
    }
    static_cast<void>(waitpid(pid, nullptr, WNOHANG));
  }
  return wasAny;
}

void Strays::sweepAll(pid_t command, std::uint64_t patience) const {
  const std::uint64_t deadline = deadlineAfter(patience);
  while (sweep(command) && monotonicNow() < deadline) awaitEndOfChild();
}

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Strays.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <string_view>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "process/Contents.h"
#include "value/Fd.h"

namespace vanto::manager {

namespace {

/// More children than the list holds are met in a further sweep: each that ends brings one.
constexpr std::size_t listBytes = std::size_t{1} << 20;

}  // namespace

int Strays::adopt() noexcept {
  return prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0 ? 0 : errno;
}

void Strays::sweep() const {
  const Fd file(open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC));
  GrowingBytes list;
  if (!file || readContents(file.get(), listBytes, list) != 0) return;
  std::string_view text = list.text();
  pid_t pid = 0;
  for (;;) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
    if (error != std::errc()) return;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()) + (end != text.data() + text.size() ? 1 : 0));
    if (isOwn_(pid)) continue;
    // A child's number is nobody else's until it is reaped, which is done here only.
    kill(pid, SIGKILL);
    static_cast<void>(waitpid(pid, nullptr, WNOHANG));
  }
}

}  // namespace vanto::manager

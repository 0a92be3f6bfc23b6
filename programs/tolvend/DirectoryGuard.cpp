// SPDX-License-Identifier: Apache-2.0
#include "tolvend/DirectoryGuard.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "dispatch/Workers.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t restNanoseconds = 100'000'000;

/// A new name is none of these: it takes no other's place.
constexpr std::uint32_t touches = IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

/// Room for a good many names, of which the longest must fit.
constexpr std::size_t readBytes = std::size_t{16} << 10;

/// The names that `count` bytes of events tell of, each once; an empty one for events that were lost.
std::vector<std::string> namesIn(const char* bytes, std::size_t count) {
  std::vector<std::string> names;
  while (count >= sizeof(inotify_event)) {
    inotify_event event;
    std::memcpy(&event, bytes, sizeof event);
    std::string name = event.len != 0 ? bytes + sizeof event : "";
    const bool isNews = names.empty() || names.back() != name;
    if (isNews && (event.mask & (touches | IN_Q_OVERFLOW)) != 0) names.push_back(std::move(name));
    bytes += sizeof event + event.len;
    count -= sizeof event + event.len;
  }
  return names;
}

}  // namespace

DirectoryGuard::DirectoryGuard(Alarms& alarms, Touched touched, std::function<void()> rested)
    : touched_(std::move(touched)), rested_(std::move(rested)), resting_(alarms, [this] {
        // For want of memory, for a moment.
        if (resume() != 0) resting_.set(deadlineAfter(restNanoseconds));
        rested_();
      }) {}

int DirectoryGuard::start(int directory) {
  events_.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!events_) return errno;
  const std::string path = "/proc/self/fd/" + std::to_string(directory);
  if (inotify_add_watch(events_.get(), path.c_str(), touches | IN_MOVE_SELF | IN_ONLYDIR) < 0) return errno;
  return resume();
}

int DirectoryGuard::resume() {
  return watch_.start(events_.get(), EPOLLIN, [this](std::uint32_t) { read(); });
}

void DirectoryGuard::read() {
  alignas(inotify_event) char bytes[readBytes];
  const ssize_t count = ::read(events_.get(), bytes, sizeof bytes);
  if (count <= 0) return;
  watch_.stop();
  resting_.set(deadlineAfter(restNanoseconds));
  for (const std::string& name : namesIn(bytes, static_cast<std::size_t>(count))) touched_(name);
}

}  // namespace vanto::manager

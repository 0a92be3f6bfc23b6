// SPDX-License-Identifier: Apache-2.0

// Whether writes wait is a setting of the open file, which others share, so it is not changed: a pipe or a terminal is
// opened once more. Where that is not allowed, a write follows only when there is room, which others may take
// meanwhile.
#include "tolvend/Messages.h"

#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "runtime/LogText.h"

namespace vanto::manager {

namespace {

/// A pipe takes as much in one piece or not at all.
std::string lineOf(const std::string& text) {
  std::string line = std::string("tolvend: ") + LogText(text).utf8();
  if (line.size() >= PIPE_BUF) line.resize(PIPE_BUF - 1);
  return line + '\n';
}

bool hasRoom(int descriptor) noexcept {
  pollfd set{descriptor, POLLOUT, 0};
  return poll(&set, 1, 0) == 1 && (set.revents & POLLOUT) != 0;
}

}  // namespace

void Messages::open() {
  struct stat facts;
  if (fstat(descriptor_, &facts) != 0) return;
  kind_ = S_ISSOCK(facts.st_mode)                             ? Kind::Socket
          : S_ISFIFO(facts.st_mode) || S_ISCHR(facts.st_mode) ? Kind::Waiting
                                                              : Kind::Other;
  if (kind_ != Kind::Waiting) return;
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor_);
  own_.reset(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool Messages::write(const std::string& text) {
  const auto size = static_cast<ssize_t>(text.size());
  if (kind_ == Kind::Socket) return send(descriptor_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL) == size;
  if (own_) return ::write(own_.get(), text.data(), text.size()) == size;
  if (!hasRoom(descriptor_)) return false;
  return ::write(descriptor_, text.data(), text.size()) == size;
}

void Messages::say(const std::string& line) {
  if (kind_ == Kind::Unknown) open();
  if (dropped_ != 0 && write(lineOf(std::to_string(dropped_) + " messages before were not taken"))) dropped_ = 0;
  if (dropped_ != 0 || !write(lineOf(line))) dropped_++;
}

}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#include "vexd/ProcessState.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstddef>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "process/ProcessInformation.h"
#include "value/Fd.h"
#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

/// The beginning of a file of /proc.
class Beginning {
 public:
  Beginning(int directory, const char* path) noexcept {
    const Fd file(openat(directory, path, O_RDONLY | O_CLOEXEC));
    const ssize_t length = file ? ::read(file.get(), bytes_, sizeof bytes_) : 0;
    length_ = length > 0 ? static_cast<std::size_t>(length) : 0;
  }

  /// Empty when it could not be read.
  [[nodiscard]] std::string_view text() const noexcept { return {bytes_, length_}; }
  /// Whether there can be no more of it.
  [[nodiscard]] bool isAll() const noexcept { return length_ < sizeof bytes_; }

 private:
  std::size_t length_ = 0;
  char bytes_[4096];
};

/// What is behind a label at the start of a line, to the end of the line.
std::optional<std::string_view> lineBehind(std::string_view text, std::string_view label) noexcept {
  std::size_t at = text.find(label);
  while (at != text.npos && at != 0 && text[at - 1] != '\n') at = text.find(label, at + 1);
  if (at == text.npos) return std::nullopt;
  at += label.size();
  return text.substr(at, text.find('\n', at) - at);
}

constexpr std::string_view blanks = "\t ";

std::string_view withoutBlanks(std::string_view text) noexcept {
  return text.substr(std::min(text.size(), text.find_first_not_of(blanks)));
}

/// The number behind a label at the start of a line.
std::optional<std::int64_t> numberBehind(std::string_view text, std::string_view label) noexcept {
  const std::string_view rest = withoutBlanks(lineBehind(text, label).value_or(""));
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  return error == std::errc() ? std::optional(number) : std::nullopt;
}

/// How many words a line has.
std::size_t countWords(std::string_view line) noexcept {
  std::size_t count = 0;
  for (line = withoutBlanks(line); !line.empty(); ++count) {
    line = withoutBlanks(line.substr(std::min(line.size(), line.find_first_of(blanks))));
  }
  return count;
}

struct CloseDirectory {
  void operator()(DIR* directory) const noexcept { closedir(directory); }
};

Tracing tracingOfThreads(pid_t pid) {
  const std::unique_ptr<DIR, CloseDirectory> threads(opendir((directoryOf(pid) + "/task").c_str()));
  if (!threads) return Tracing::Unknown;
  std::size_t count = 0;
  while (const dirent* const thread = readdir(threads.get())) {
    if (*thread->d_name == '.') continue;
    if (++count > limits::threads) return Tracing::Unknown;
    const Beginning status(dirfd(threads.get()), (std::string(thread->d_name) + "/status").c_str());
    // A thread that has ended meanwhile has no text.
    if (!status.text().empty() && numberBehind(status.text(), "TracerPid:").value_or(1) != 0) return Tracing::Yes;
  }
  return count == 0 ? Tracing::Unknown : Tracing::No;
}

}  // namespace

std::string contentsOf(const std::string& path) {
  const Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  // Most have less, and are read with two calls.
  constexpr std::size_t room = 4096;
  while (file && text.size() <= limits::processFileBytes) {
    const std::size_t used = text.size();
    text.resize(used + room);
    const ssize_t length = ::read(file.get(), text.data() + used, room);
    const bool isInterrupted = length < 0 && errno == EINTR;
    text.resize(used + (length > 0 ? static_cast<std::size_t>(length) : 0));
    if (length == 0) return text;
    if (length < 0 && !isInterrupted) break;
  }
  return {};
}

std::optional<ProcessState> ProcessState::read(pid_t pid) {
  const std::string path = directoryOf(pid) + "/status";
  const Beginning status(AT_FDCWD, path.c_str());
  // Who is in thousands of groups has more.
  std::optional<ProcessState> state = status.isAll() ? stateIn(status.text()) : stateIn(contentsOf(path));
  if (state && state->tracing == Tracing::Unknown) state->tracing = tracingOfThreads(pid);
  return state;
}

std::optional<ProcessState> stateIn(std::string_view text) noexcept {
  const std::optional<std::int64_t> user = numberBehind(text, "Uid:");
  const std::optional<std::int64_t> threads = numberBehind(text, "Threads:");
  const std::optional<std::int64_t> tracer = numberBehind(text, "TracerPid:");
  if (!user || !threads || !tracer) return std::nullopt;
  ProcessState state{static_cast<uid_t>(*user), Tracing::Yes};
  if (*tracer == 0) state.tracing = *threads > 1 ? Tracing::Unknown : Tracing::No;
  // One id for each namespace from that of /proc down. A kernel without such namespaces has no such line.
  state.isInOwnNamespace = countWords(lineBehind(text, "NSpid:").value_or("")) <= 1;
  return state;
}

std::string directoryOf(pid_t pid) {
  return "/proc/" + std::to_string(pid);
}

std::optional<pid_t> processOf(int process) {
  const auto information = informationOf(process);
  if (information && information->threadGroup != 0) return static_cast<pid_t>(information->threadGroup);
  const std::string file = "/proc/self/fdinfo/" + std::to_string(process);
  return processIn(Beginning(AT_FDCWD, file.c_str()).text());
}

std::optional<pid_t> processIn(std::string_view text) noexcept {
  const std::optional<std::int64_t> pid = numberBehind(text, "Pid:");
  if (!pid || *pid < -1 || *pid > INT_MAX) return std::nullopt;
  return static_cast<pid_t>(*pid);
}

bool hasEnded(int process) noexcept {
  pollfd set{process, POLLIN, 0};
  int count = -1;
  while ((count = poll(&set, 1, 0)) < 0 && errno == EINTR) {
  }
  return count != 0;
}

}  // namespace vanto::vexd

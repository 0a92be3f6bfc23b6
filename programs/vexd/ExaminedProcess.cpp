// SPDX-License-Identifier: Apache-2.0

// A process may end at any time, its id may be given to another one, and it may execute another program. So its
// directory is opened, then it is made sure that the process still runs, and only that directory is used from there on,
// which never becomes that of another process. When everything is open, it is looked once more whether the process runs
// and executes the same file.
#include "vexd/ExaminedProcess.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

#ifndef FUSE_SUPER_MAGIC
constexpr auto FUSE_SUPER_MAGIC = 0x65735546;
#endif

/// The beginning of a file of /proc; empty when it cannot be read.
std::string readBeginning(int directory, const char* path) {
  const Fd file(openat(directory, path, O_RDONLY | O_CLOEXEC));
  std::string text(4096, '\0');
  const ssize_t length = file ? read(file.get(), text.data(), text.size()) : 0;
  text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return text;
}

/// The number behind a label at the start of a line.
std::optional<std::int64_t> numberBehind(std::string_view text, std::string_view label) noexcept {
  const std::string line = "\n" + std::string(label);
  std::size_t at = text.find(line);
  if (at == text.npos && !text.starts_with(label)) return std::nullopt;
  at = text.starts_with(label) ? label.size() : at + line.size();
  while (at < text.size() && (text[at] == '\t' || text[at] == ' ')) ++at;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data() + at, text.data() + text.size(), number);
  return error == std::errc() ? std::optional(number) : std::nullopt;
}

bool hasEnded(int process) noexcept {
  pollfd set{process, POLLIN, 0};
  int count = -1;
  while ((count = poll(&set, 1, 0)) < 0 && errno == EINTR) {
  }
  return count != 0;
}

struct CloseDirectory {
  void operator()(DIR* directory) const noexcept { closedir(directory); }
};

enum class Tracing : std::uint8_t { No, Yes, Unknown };

/// Whether somebody traces any thread of the process, which is as good as the process.
Tracing tracingOfThreads(int directory) {
  const std::unique_ptr<DIR, CloseDirectory> threads(
      fdopendir(openat(directory, "task", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  if (!threads) return Tracing::Unknown;
  std::size_t count = 0;
  while (const dirent* const thread = readdir(threads.get())) {
    if (*thread->d_name == '.') continue;
    if (++count > limits::threads) return Tracing::Unknown;
    const std::string text = readBeginning(dirfd(threads.get()), (std::string(thread->d_name) + "/status").c_str());
    // A thread that has ended meanwhile has no text.
    if (!text.empty() && numberBehind(text, "TracerPid:").value_or(1) != 0) return Tracing::Yes;
  }
  return count == 0 ? Tracing::Unknown : Tracing::No;
}

/// The beginning of what newer kernels tell of the process of a descriptor, and their call for it.
struct ProcessInformation {
  std::uint64_t mask = 0;
  std::uint64_t group = 0;
  std::uint32_t pid = 0;
  std::uint32_t threadGroup = 0;
  std::uint32_t others[10] = {};
};
static_assert(sizeof(ProcessInformation) == 64);
constexpr unsigned long processInformationCall = _IOWR(0xFF, 11, ProcessInformation);

/// As processIn().
std::optional<pid_t> processOf(int process) {
  ProcessInformation information{.mask = 1};
  if (ioctl(process, processInformationCall, &information) == 0 && information.threadGroup != 0) {
    return static_cast<pid_t>(information.threadGroup);
  }
  const std::string file = "/proc/self/fdinfo/" + std::to_string(process);
  return processIn(readBeginning(AT_FDCWD, file.c_str()));
}

/// One look at a process.
class Look {
 public:
  Look(int process, Refusal& refusal) noexcept : process_(process), refusal_(refusal) {}

  bool run(ExaminedProcess& result) {
    return openDirectory() && readStatus(result) && openExecutable(result) && findPath(result) && checkAgain(result);
  }

 private:
  bool refuse(Failure failure, const char* reason) {
    refusal_ = {failure, reason};
    return false;
  }
  bool refuseAsGone() { return refuse(Failure::Gone, "the process is gone"); }
  /// For what cannot be had: maybe only because there is nobody any more to have it from.
  bool refuseAsHidden(const char* reason) {
    return hasEnded(process_) ? refuseAsGone() : refuse(Failure::Hidden, reason);
  }

  bool openDirectory() {
    const std::optional<pid_t> pid = processOf(process_);
    if (!pid) return refuse(Failure::Unknown, "the descriptor is not that of a process");
    if (*pid == 0) return refuse(Failure::Unknown, "the process is in a foreign pid namespace");
    if (*pid < 0) return refuseAsGone();
    const std::string path = "/proc/" + std::to_string(*pid);
    directory_.reset(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (hasEnded(process_)) return refuseAsGone();
    return directory_ ? true : refuse(Failure::Hidden, "nothing may be seen of the process");
  }

  bool readStatus(ExaminedProcess& result) {
    const std::string text = readBeginning(directory_.get(), "status");
    const std::optional<std::int64_t> user = numberBehind(text, "Uid:");
    const std::optional<std::int64_t> threads = numberBehind(text, "Threads:");
    const std::optional<std::int64_t> tracer = numberBehind(text, "TracerPid:");
    if (!user || !threads || !tracer) return refuseAsHidden("its state may not be looked at");
    result.user = static_cast<uid_t>(*user);
    Tracing tracing = *tracer == 0 ? Tracing::No : Tracing::Yes;
    if (tracing == Tracing::No && *threads > 1) tracing = tracingOfThreads(directory_.get());
    if (tracing == Tracing::Unknown) return refuseAsHidden("its threads cannot be looked at");
    return tracing == Tracing::No ? true : refuse(Failure::Traced, "another process traces it");
  }

  bool openExecutable(ExaminedProcess& result) {
    result.executable.reset(openat(directory_.get(), "exe", O_PATH | O_CLOEXEC));
    const int file = result.executable.get();
    struct statfs system;
    struct stat status;
    if (!result.executable || fstatfs(file, &system) != 0 || fstat(file, &status) != 0) {
      return refuseAsHidden("its executable may not be looked at");
    }
    if (system.f_type == FUSE_SUPER_MAGIC) {
      return refuse(Failure::Hidden,
                    "its executable is on a file system of a user, who can show each reader another one");
    }
    result.device = status.st_dev;
    result.inode = status.st_ino;
    return true;
  }

  bool findPath(ExaminedProcess& result) {
    char path[limits::pathBytes];
    const ssize_t length = readlinkat(directory_.get(), "exe", path, sizeof path);
    if (length < 0) return refuseAsHidden("it cannot be told where its executable is");
    result.path.assign(path, static_cast<std::size_t>(length));
    struct stat status;
    const bool isThere =
        stat(result.path.c_str(), &status) == 0 && status.st_dev == result.device && status.st_ino == result.inode;
    // A file that was replaced is not what lies beside a signature any more.
    if (!isThere || result.path.front() != '/') result.path.clear();
    return true;
  }

  bool checkAgain(const ExaminedProcess& result) {
    struct stat status;
    const bool isSame = fstatat(directory_.get(), "exe", &status, 0) == 0 && status.st_dev == result.device &&
                        status.st_ino == result.inode;
    if (hasEnded(process_)) return refuseAsGone();
    return isSame ? true : refuse(Failure::Gone, "the process executes another program meanwhile");
  }

  const int process_;
  Refusal& refusal_;
  Fd directory_;
};

}  // namespace

std::optional<pid_t> processIn(std::string_view text) noexcept {
  const std::optional<std::int64_t> pid = numberBehind(text, "Pid:");
  if (!pid || *pid < -1 || *pid > INT_MAX) return std::nullopt;
  return static_cast<pid_t>(*pid);
}

Fd openForReading(const Fd& place) {
  const std::string path = "/proc/self/fd/" + std::to_string(place.get());
  return Fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

std::optional<ExaminedProcess> ExaminedProcess::open(int process, Refusal& refusal) {
  ExaminedProcess result;
  if (!Look(process, refusal).run(result)) return std::nullopt;
  return result;
}

}  // namespace vanto::vexd

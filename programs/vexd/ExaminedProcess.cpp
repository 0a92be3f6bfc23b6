// SPDX-License-Identifier: Apache-2.0

// A process may end at any time, its id may be given to another one, and it may execute another program. So everything
// is opened by its id first; then it is looked whether the process still runs, and so had its id all the time, and
// whether it executes the same file.
#include "vexd/ExaminedProcess.h"

#include <cstring>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include "vexd/MountTable.h"
#include "vexd/ProcessState.h"
#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

#ifndef FUSE_SUPER_MAGIC
constexpr auto FUSE_SUPER_MAGIC = 0x65735546;
#endif
constexpr long overlayMagic = 0x794c7630;

constexpr auto foreignProcess = "the process is in a foreign pid namespace";

/// One look at a process.
class Look {
 public:
  Look(int process, Refusal& refusal) noexcept : process_(process), refusal_(refusal) {}

  bool run(ExaminedProcess& result) {
    return findProcess() && readState(result) && openExecutable(result) && findPath(result) && checkAgain(result);
  }

 private:
  /// What is said of who has ended may be about another process.
  bool refuse(Failure failure, const char* reason) {
    refusal_ = {failure, reason};
    if (hasEnded(process_)) refusal_ = {Failure::Gone, "the process is gone"};
    return false;
  }

  bool findProcess() {
    const std::optional<pid_t> pid = processOf(process_);
    if (!pid) {
      refusal_ = {Failure::Unknown, "the descriptor is not that of a process"};
      return false;
    }
    if (*pid == 0) return refuse(Failure::Unknown, foreignProcess);
    if (*pid < 0) return refuse(Failure::Gone, "the process is gone");
    pid_ = *pid;
    executable_ = directoryOf(pid_) + "/exe";
    return true;
  }

  bool readState(ExaminedProcess& result) {
    const std::optional<ProcessState> state = ProcessState::read(pid_);
    if (!state) return refuse(Failure::Hidden, "its state may not be looked at");
    result.user = state->user;
    if (!state->isInOwnNamespace) return refuse(Failure::Unknown, foreignProcess);
    if (state->tracing == Tracing::Unknown) return refuse(Failure::Hidden, "its threads cannot be looked at");
    return state->tracing == Tracing::No ? true : refuse(Failure::Traced, "another process traces it");
  }

  bool openExecutable(ExaminedProcess& result) {
    result.executable.reset(::open(executable_.c_str(), O_PATH | O_CLOEXEC));
    const int file = result.executable.get();
    struct statfs system;
    struct stat status;
    if (!result.executable || fstatfs(file, &system) != 0 || fstat(file, &status) != 0) {
      return refuse(Failure::Hidden, "its executable may not be looked at");
    }
    // A user may mount an overlay in a namespace of his own, with FUSE below it.
    const bool isUsers = static_cast<long>(system.f_type) == overlayMagic && !isMountedHere(file, pid_);
    if (system.f_type == FUSE_SUPER_MAGIC || isUsers) {
      return refuse(Failure::Hidden,
                    "its executable is on a file system of a user, who can show each reader another one");
    }
    if (status.st_size > limits::executableBytes) return refuse(Failure::Hidden, "its executable is larger than 1 GiB");
    result.device = status.st_dev;
    result.inode = status.st_ino;
    result.bytes = status.st_size;
    return true;
  }

  bool findPath(ExaminedProcess& result) {
    char path[limits::pathBytes];
    const ssize_t length = readlink(executable_.c_str(), path, sizeof path);
    if (length < 0) return refuse(Failure::Hidden, "it cannot be told where its executable is");
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
    const bool isSame =
        stat(executable_.c_str(), &status) == 0 && status.st_dev == result.device && status.st_ino == result.inode;
    if (!isSame) return refuse(Failure::Gone, "the process executes another program meanwhile");
    return hasEnded(process_) ? refuse(Failure::Gone, "the process is gone") : true;
  }

  const int process_;
  Refusal& refusal_;
  pid_t pid_ = 0;
  /// The link to what it executes.
  std::string executable_;
};

}  // namespace

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

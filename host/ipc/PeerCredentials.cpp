// SPDX-License-Identifier: Apache-2.0
#include "ipc/PeerCredentials.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "process/ProcessFile.h"
#include "process/ProcessInformation.h"
#include "process/StartTime.h"

namespace vanto {

namespace {

// Newer than some systems' headers.
constexpr int peerPidDescriptorOption = 77;

/// Reads the beginning of a file of /proc, with a NUL behind it. False when it cannot be read.
bool readProcessFile(pid_t pid, const char* name, char* text, std::size_t size) noexcept {
  const Fd file(open(ProcessFile(pid, name).path(), O_RDONLY | O_CLOEXEC));
  if (!file) return false;
  const ssize_t length = read(file.get(), text, size - 1);
  if (length <= 0) return false;
  text[length] = '\0';
  return true;
}

bool readOwnerOf(const Fd& process, ProcessFacts& facts) noexcept {
  const auto information = informationOf(process.get());
  if (!information || information->pid != static_cast<std::uint32_t>(facts.pid)) return false;
  facts.realUser = information->realUser;
  facts.realGroup = information->realGroup;
  return true;
}

bool readRealOwner(ProcessFacts& facts) noexcept {
  char text[2048];
  if (!readProcessFile(facts.pid, "status", text, sizeof text)) return false;
  const char* users = std::strstr(text, "\nUid:");
  const char* groups = std::strstr(text, "\nGid:");
  return users != nullptr && groups != nullptr && std::sscanf(users, "\nUid: %u", &facts.realUser) == 1 &&
         std::sscanf(groups, "\nGid: %u", &facts.realGroup) == 1;
}

}  // namespace

bool enableSenderCredentials(int socket) noexcept {
  const int on = 1;
  return setsockopt(socket, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0;
}

bool passesSenderCredentials(int socket) noexcept {
  int isOn = 0;
  socklen_t size = sizeof isOn;
  return getsockopt(socket, SOL_SOCKET, SO_PASSCRED, &isOn, &size) == 0 && isOn != 0;
}

bool readPeerCredentials(int socket, ProcessFacts& facts) noexcept {
  ucred credentials;
  socklen_t size = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
  facts = {credentials.pid, credentials.uid, credentials.gid, credentials.uid, credentials.gid, 0};
  return true;
}

Fd openPeerProcess(int socket, const ProcessFacts& facts) noexcept {
  int descriptor = -1;
  socklen_t size = sizeof descriptor;
  // The descriptor is close-on-exec from birth.
  if (getsockopt(socket, SOL_SOCKET, peerPidDescriptorOption, &descriptor, &size) == 0) return Fd(descriptor);
  return errno == ENOPROTOOPT ? openProcess(facts) : Fd();
}

Fd openProcess(const ProcessFacts& facts) noexcept {
  // The descriptor is close-on-exec from birth. The process may be another one that got the same id, but its start time
  // tells: who has both is pinned from here on.
  errno = ESRCH;
  if (facts.pid <= 0 || facts.startTime == 0) return {};
  Fd process(static_cast<int>(syscall(SYS_pidfd_open, facts.pid, 0)));
  if (!process) return {};
  errno = ESRCH;
  return readStartTime(facts.pid) == facts.startTime ? std::move(process) : Fd();
}

Fd openProcessOfTime(pid_t pid, std::uint64_t time) noexcept {
  errno = ESRCH;
  if (pid <= 0) return {};
  Fd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (!process) return {};
  const std::uint64_t startTime = readStartTime(pid);
  const std::uint64_t ticksPerSecond = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
  const std::uint64_t latest = time / (1'000'000'000 / ticksPerSecond);
  errno = ESRCH;
  // Who got the id later was started later.
  return startTime != 0 && startTime <= latest ? std::move(process) : Fd();
}

bool isRunning(const Fd& process) noexcept {
  // Readable once the process has ended.
  pollfd set{process.get(), POLLIN, 0};
  int count = -1;
  // A signal can interrupt even a poll that does not wait.
  while (process && (count = poll(&set, 1, 0)) < 0 && errno == EINTR) {
  }
  return count == 0;
}

std::uint64_t readStartTime(pid_t pid) noexcept {
  std::uint64_t startTime = 0;
  return pid > 0 && readProcessStartTime(pid, startTime) ? startTime : 0;
}

bool readProcessFacts(ProcessFacts& facts, const Fd& process) noexcept {
  facts.startTime = 0;
  errno = ESRCH;
  if (facts.pid <= 0) return false;
  const bool isOwnerTold = readOwnerOf(process, facts);
  if (!isOwnerTold && !readRealOwner(facts)) return false;
  facts.startTime = readStartTime(facts.pid);
  // Who is known by a descriptor need not be told from a later process with the same id, and a confined process cannot.
  return isOwnerTold || facts.startTime != 0;
}

ExecutableFile readExecutable(pid_t pid) noexcept {
  struct stat facts;
  return stat(ProcessFile(pid, "exe").path(), &facts) == 0 ? ExecutableFile{facts.st_dev, facts.st_ino}
                                                           : ExecutableFile{};
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0

// A number is not given to another process as long as it is that of a session or a group. So where there is a process
// of the number now that is another one, nothing is left.
#include "tolvend/Remnants.h"

#include <charconv>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ipc/PeerCredentials.h"
#include "process/StartTime.h"
#include "tolvend/ServiceMark.h"
#include "value/Fd.h"

namespace vanto::manager {

namespace {

/// A process that is about to be killed may make another one meanwhile; each round finds those of the last.
constexpr int rounds = 16;

bool isOwn(const std::filesystem::path& path) noexcept {
  struct stat facts;
  return stat(path.c_str(), &facts) == 0 && facts.st_uid == geteuid();
}

bool isOf(const ProcessRecord& record, pid_t pid) {
  return getsid(pid) == record.pid || getpgid(pid) == record.pid || readServiceMark(pid) == record.pid;
}

/// Whether there was something to kill.
bool killProcess(const ProcessRecord& record, pid_t pid) {
  ProcessFacts facts;
  facts.pid = pid;
  if (!readProcessStartTime(pid, facts.startTime) || facts.startTime < record.startTime || !isOf(record, pid)) {
    return false;
  }
  // None if it is another process by now.
  const Fd process = openProcess(facts);
  return process && syscall(SYS_pidfd_send_signal, process.get(), SIGKILL, nullptr, 0) == 0;
}

}  // namespace

void killRemnants(const ProcessRecord& record) {
  std::uint64_t startTime = 0;
  if (readProcessStartTime(record.pid, startTime) && startTime != record.startTime) return;
  std::set<pid_t> killed{getpid(), record.pid};
  bool wasAny = true;
  for (int i = 0; i < rounds && wasAny; i++) {
    wasAny = false;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
      const std::string name = entry.path().filename();
      pid_t pid = 0;
      const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
      if (error != std::errc() || end != name.data() + name.size() || killed.contains(pid)) continue;
      if (!isOwn(entry.path()) || !killProcess(record, pid)) continue;
      killed.insert(pid);
      wasAny = true;
    }
  }
}

}  // namespace vanto::manager

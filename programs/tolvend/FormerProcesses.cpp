// SPDX-License-Identifier: Apache-2.0
#include "tolvend/FormerProcesses.h"

#include <algorithm>
#include <csignal>
#include <utility>

#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "ipc/PeerCredentials.h"
#include "tolvend/Remnants.h"

namespace vanto::manager {

void FormerProcesses::end(std::function<void()> gone) {
  gone_ = std::move(gone);
  for (const ProcessRecord& record : records_.read()) add(record);
  if (!processes_.empty()) killing_.set(deadlineAfter(patience_));
}

void FormerProcesses::add(const ProcessRecord& record) {
  ProcessFacts facts;
  facts.pid = record.pid;
  facts.startTime = record.startTime;
  auto process = std::make_unique<Process>();
  process->descriptor = openProcess(facts);
  Process* const added = process.get();
  const bool isThere = process->descriptor && isRunning(process->descriptor);
  // Without a watch its end would never be seen: better to forget it than to wait for ever.
  if (!isThere ||
      process->watch.start(process->descriptor.get(), EPOLLIN, [this, added](std::uint32_t) { remove(added); }) != 0) {
    if (!isThere) killRemnants(record);
    records_.remove(record.pid);
    return;
  }
  syscall(SYS_pidfd_send_signal, process->descriptor.get(), SIGTERM, nullptr, 0);
  process->record = record;
  processes_.push_back(std::move(process));
}

void FormerProcesses::remove(const Process* process) {
  const auto place =
      std::find_if(processes_.begin(), processes_.end(), [process](const auto& each) { return each.get() == process; });
  if (place == processes_.end()) return;
  killRemnants(process->record);
  records_.remove(process->record.pid);
  processes_.erase(place);
  gone_();
}

void FormerProcesses::killAll() {
  for (const auto& process : processes_) {
    if (!isRunning(process->descriptor)) continue;
    // Its group first: its number is the process's own for as long as that is there.
    ::kill(-process->record.pid, SIGKILL);
    syscall(SYS_pidfd_send_signal, process->descriptor.get(), SIGKILL, nullptr, 0);
  }
}

bool FormerProcesses::hasAny(std::string_view name) const noexcept {
  return std::any_of(processes_.begin(), processes_.end(),
                     [name](const auto& process) { return process->record.name == name; });
}

}  // namespace vanto::manager

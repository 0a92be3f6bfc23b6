// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/ProcessState.h"

#include <csignal>
#include <cstdint>

#include <sys/resource.h>

#include "vantoproxy/SignalAction.h"
#include "vantoproxy/SystemCall.h"

namespace vanto {

namespace {

constexpr int fileModeMask = 077;

int clearSignals() noexcept {
  for (int signal = 1; signal <= signalCount; signal++) setSignalAction(signal, SignalAction::Default);
  const std::uint64_t none = 0;
  return errorIn(systemCall(SYS_rt_sigprocmask, SIG_SETMASK, &none, 0, signalSetSize));
}

/// Only the soft limit, so that a service that wants core files can have them.
int withoutCoreFile() noexcept {
  rlimit64 limit{};
  const int error = errorIn(systemCall(SYS_prlimit64, 0, RLIMIT_CORE, 0, &limit));
  if (error != 0) return error;
  limit.rlim_cur = 0;
  return errorIn(systemCall(SYS_prlimit64, 0, RLIMIT_CORE, &limit));
}

Failure failed(int error, const char* reason) noexcept {
  return {ExecStage::State, error, reason, "look for what keeps the manager's children from it"};
}

}  // namespace

Failure setProcessState() noexcept {
  // Away from the manager's terminal, into which a service could type. Refused to the leader of a process group only,
  // and a leader has the least that is wanted: a group of its own.
  systemCall(SYS_setsid);
  systemCall(SYS_umask, fileModeMask);
  if (const int error = clearSignals()) return failed(error, "the signals cannot be reset");
  if (const int error = errorIn(systemCall(SYS_chdir, "/"))) return failed(error, "the root cannot be entered");
  if (const int error = withoutCoreFile()) return failed(error, "the limit of core files cannot be set");
  return {};
}

}  // namespace vanto

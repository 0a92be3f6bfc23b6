// SPDX-License-Identifier: Apache-2.0

// A profile that allows nothing, and beside it a list of the calls that are left, unlike for services, whose programs
// are others' and change: here each call is known. It closes what no profile does, such as Unix sockets, and what can
// be done to files without opening them.
#include "vexd/DigesterSandbox.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include "sandbox/CallList.h"
#include "sandbox/Confinement.h"
#include "sandbox/KernelProbe.h"
#include "sandbox/Profile.h"
#include "sandbox/ThreadCount.h"

namespace vanto::vexd {
namespace {

constexpr std::string_view profile = R"(version 1
network none
require execute network processes system
)";

// None that names a process, be it its own: not every kernel's Landlock keeps signals within. And no fcntl, which can
// have the kernel send them. Who aborts ends by the instruction that comes when no signal could be sent.
constexpr std::uint32_t calls[] = {
    SYS_read,        SYS_pread64,         SYS_recvmsg,      SYS_sendmsg,         SYS_ppoll,
    SYS_close,       SYS_fstat,           SYS_mmap,         SYS_munmap,          SYS_mremap,
    SYS_mprotect,    SYS_madvise,         SYS_brk,          SYS_futex,           SYS_getrandom,
    SYS_exit,        SYS_exit_group,      SYS_rt_sigreturn, SYS_rt_sigprocmask,  SYS_rt_sigaction,
    SYS_sigaltstack, SYS_clock_gettime,   SYS_write,        SYS_writev,          SYS_gettid,
    SYS_getpid,      SYS_restart_syscall, SYS_geteuid,      SYS_fadvise64,       SYS_sched_yield,
    SYS_newfstatat,  SYS_lseek,           SYS_rseq,         SYS_set_robust_list,
#ifdef SYS_poll
    SYS_poll,
#endif
};

std::string failed(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

/// What no profile says. Empty, or what is wrong.
std::string giveUpPrivileges() {
  const rlimit none{0, 0};
  if (setrlimit(RLIMIT_CORE, &none) != 0 || setrlimit(RLIMIT_FSIZE, &none) != 0) return failed("resource limits");
  return prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0 ? std::string() : failed("no dumps");
}

}  // namespace

std::string enterDigesterSandbox() {
  return enterDigesterSandbox(landlockGenerations);
}

std::string enterDigesterSandbox(int landlockGeneration) {
  const KernelRights usable = kernelRightsOf(landlockGeneration);
  const std::optional<KernelRights> kernel = probeKernelRights();
  if (!kernel) return failed("cannot tell what this kernel enforces");
  const ProfileResult compiled = compileProfile(profile, {});
  if (!compiled.policy) return "its profile is wrong";
  // First: of a process that makes no dumps even its own directory in /proc is not its own, and its threads are
  // counted.
  if (commonRightsOf(*kernel, usable).fileBits != 0) {
    if (std::string error = Confinement(usable).enter(*compiled.policy).error; !error.empty()) return error;
  } else if (threadCount() != 1) {
    // No profile is entered without Landlock, and the list alone keeps the process from files.
    return "it has several threads";
  }
  if (std::string error = giveUpPrivileges(); !error.empty()) return error;
  return leaveOnlyCalls(calls);
}

}  // namespace vanto::vexd

// SPDX-License-Identifier: Apache-2.0

// A list of what is allowed, unlike that of services, whose programs are others' and change: here each call is known.
#include "vexd/Confinement.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::vexd {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
#else
#error "unknown architecture"
#endif

constexpr std::uint32_t allowedCalls[] = {
    SYS_read,
    SYS_pread64,
    SYS_recvmsg,
    SYS_sendmsg,
    SYS_ppoll,
    SYS_close,
    SYS_fstat,
    SYS_mmap,
    SYS_munmap,
    SYS_mremap,
    SYS_mprotect,
    SYS_madvise,
    SYS_brk,
    SYS_futex,
    SYS_getrandom,
    SYS_exit,
    SYS_exit_group,
    SYS_rt_sigreturn,
    SYS_rt_sigprocmask,
    SYS_rt_sigaction,
    SYS_sigaltstack,
    SYS_clock_gettime,
    SYS_write,
    SYS_writev,
    SYS_gettid,
    SYS_getpid,
    SYS_tgkill,
    SYS_fcntl,
    SYS_restart_syscall,
    SYS_geteuid,
    SYS_fadvise64,
    SYS_sched_yield,
    SYS_newfstatat,
    SYS_lseek,
    SYS_rseq,
    SYS_set_robust_list,
#ifdef SYS_poll
    SYS_poll,
#endif
};

/// The Landlock rights of the first version; older headers do not know the later ones, and a filter is there too.
constexpr std::uint64_t allFileRights = (std::uint64_t{1} << 13) - 1;

bool closeFiles() noexcept {
  const landlock_ruleset_attr rights{.handled_access_fs = allFileRights};
  const Fd rules(static_cast<int>(syscall(SYS_landlock_create_ruleset, &rights, sizeof rights, 0)));
  // Without Landlock the filter alone does it.
  if (!rules) return errno == ENOSYS || errno == EOPNOTSUPP;
  return syscall(SYS_landlock_restrict_self, rules.get(), 0) == 0;
}

bool filterCalls() {
  std::vector<sock_filter> filter = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, architecture, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
  };
  for (const std::uint32_t call : allowedCalls) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

std::string failed(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

}  // namespace

std::string confine() noexcept {
  const rlimit none{0, 0};
  if (setrlimit(RLIMIT_CORE, &none) != 0 || setrlimit(RLIMIT_FSIZE, &none) != 0) return failed("resource limits");
  if (prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) return failed("no dumps");
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return failed("no new privileges");
  if (!closeFiles()) return failed("Landlock");
  return filterCalls() ? std::string() : failed("the filter of system calls");
}

}  // namespace vanto::vexd

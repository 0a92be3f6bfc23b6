// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vanto::testing {

/// Puts a filter of system calls in force for this process and those that it makes; ends it when that cannot be had.
inline void enterFilter(std::span<sock_filter> code) {
  const sock_fprog program{static_cast<unsigned short>(code.size()), code.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    _exit(126);
  }
}

/// From here on this process, and those that it makes, have no system call of that number, as on a kernel that does not
/// know it. Ends the process when that cannot be had.
inline void hideCall(std::uint32_t number) {
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  enterFilter(code);
}

/// The same for Landlock, without which no process can be confined.
inline void hideLandlock() {
  constexpr std::uint32_t createRuleset = 444;
  hideCall(createRuleset);
}

/// From here on the kernel tells this process, and those that it makes, nothing of processes by their descriptors, as
/// Linux before 6.13. Ends the process when that cannot be had.
inline void hideProcessInformation() {
  struct Information {
    std::uint64_t words[8];
  };
  constexpr auto call = static_cast<std::uint32_t>(_IOWR(0xFF, 11, Information));
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOTTY),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  enterFilter(code);
}

}  // namespace vanto::testing

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vanto {

/// The system calls that the filter knows, by their names in the kernel, in the order of the alphabet.
enum class SystemCall : std::uint8_t {
  Acct,
  AddKey,
  Adjtimex,
  Bpf,
  Chroot,
  ClockAdjtime,
  ClockSettime,
  Clone,
  Clone3,
  DeleteModule,
  Execve,
  Execveat,
  FanotifyInit,
  FinitModule,
  Fork,
  Fsconfig,
  Fsmount,
  Fsopen,
  Fspick,
  InitModule,
  IoUringEnter,
  IoUringRegister,
  IoUringSetup,
  Ioctl,
  Ioperm,
  Iopl,
  Kcmp,
  KexecFileLoad,
  KexecLoad,
  Keyctl,
  MemfdCreate,
  Mknod,
  Mknodat,
  ModifyLdt,
  Mount,
  MountSetattr,
  MoveMount,
  MqOpen,
  MqUnlink,
  Msgctl,
  Msgget,
  Msgrcv,
  Msgsnd,
  OpenByHandleAt,
  OpenTree,
  OpenTreeAttr,
  PerfEventOpen,
  Personality,
  PidfdGetfd,
  PivotRoot,
  ProcessMadvise,
  ProcessMrelease,
  ProcessVmReadv,
  ProcessVmWritev,
  Ptrace,
  Quotactl,
  QuotactlFd,
  Reboot,
  RequestKey,
  Semctl,
  Semget,
  Semop,
  Semtimedop,
  Sendmmsg,
  Sendmsg,
  Sendto,
  Setdomainname,
  Sethostname,
  Setns,
  Settimeofday,
  Shmat,
  Shmctl,
  Shmget,
  Socket,
  Socketpair,
  Swapoff,
  Swapon,
  Syslog,
  Umount2,
  Unshare,
  Userfaultfd,
  Vfork,
  Vhangup
};

inline constexpr std::size_t systemCallCount = static_cast<std::size_t>(SystemCall::Vhangup) + 1;

/// The machines that the filter is written for.
enum class Machine : std::uint8_t { X86_64, Aarch64 };

/// The machine that this is compiled for; none where no filter is written for it.
[[nodiscard]] constexpr std::optional<Machine> thisMachine() noexcept {
#if defined(__x86_64__) && !defined(__ILP32__)
  return Machine::X86_64;
#elif defined(__aarch64__) && !defined(__ILP32__) && !defined(__AARCH64EB__)
  return Machine::Aarch64;
#else
  return std::nullopt;
#endif
}

/// The call's number on `machine`; none where the machine does not have it.
[[nodiscard]] std::optional<std::uint32_t> numberOf(SystemCall call, Machine machine) noexcept;

/// The call's name in the kernel.
[[nodiscard]] std::string_view nameOf(SystemCall call) noexcept;

}  // namespace vanto

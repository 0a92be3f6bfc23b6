// SPDX-License-Identifier: Apache-2.0
#include "sandbox/SystemCalls.h"

#include <array>

namespace vanto {
namespace {

constexpr std::int32_t absent = -1;

struct Entry {
  std::string_view name;
  /// Numbers, or absent.
  std::int32_t x86_64;
  std::int32_t aarch64;
};

/// Our own numbers, since the headers of a system are often older than its kernel.
constexpr std::array<Entry, systemCallCount> entries{{
    {"acct", 163, 89},
    {"add_key", 248, 217},
    {"adjtimex", 159, 171},
    {"bpf", 321, 280},
    {"chroot", 161, 51},
    {"clock_adjtime", 305, 266},
    {"clock_settime", 227, 112},
    {"clone", 56, 220},
    {"clone3", 435, 435},
    {"delete_module", 176, 106},
    {"execve", 59, 221},
    {"execveat", 322, 281},
    {"fanotify_init", 300, 262},
    {"finit_module", 313, 273},
    {"fork", 57, absent},
    {"fsconfig", 431, 431},
    {"fsmount", 432, 432},
    {"fsopen", 430, 430},
    {"fspick", 433, 433},
    {"init_module", 175, 105},
    {"io_uring_enter", 426, 426},
    {"io_uring_register", 427, 427},
    {"io_uring_setup", 425, 425},
    {"ioctl", 16, 29},
    {"ioperm", 173, absent},
    {"iopl", 172, absent},
    {"kcmp", 312, 272},
    {"kexec_file_load", 320, 294},
    {"kexec_load", 246, 104},
    {"keyctl", 250, 219},
    {"memfd_create", 319, 279},
    {"mknod", 133, absent},
    {"mknodat", 259, 33},
    {"modify_ldt", 154, absent},
    {"mount", 165, 40},
    {"mount_setattr", 442, 442},
    {"move_mount", 429, 429},
    {"mq_open", 240, 180},
    {"mq_unlink", 241, 181},
    {"msgctl", 71, 187},
    {"msgget", 68, 186},
    {"msgrcv", 70, 188},
    {"msgsnd", 69, 189},
    {"open_by_handle_at", 304, 265},
    {"open_tree", 428, 428},
    {"open_tree_attr", 467, 467},
    {"perf_event_open", 298, 241},
    {"personality", 135, 92},
    {"pidfd_getfd", 438, 438},
    {"pivot_root", 155, 41},
    {"process_madvise", 440, 440},
    {"process_mrelease", 448, 448},
    {"process_vm_readv", 310, 270},
    {"process_vm_writev", 311, 271},
    {"ptrace", 101, 117},
    {"quotactl", 179, 60},
    {"quotactl_fd", 443, 443},
    {"reboot", 169, 142},
    {"request_key", 249, 218},
    {"semctl", 66, 191},
    {"semget", 64, 190},
    {"semop", 65, 193},
    {"semtimedop", 220, 192},
    {"sendmmsg", 307, 269},
    {"sendmsg", 46, 211},
    {"sendto", 44, 206},
    {"setdomainname", 171, 162},
    {"sethostname", 170, 161},
    {"setns", 308, 268},
    {"settimeofday", 164, 170},
    {"shmat", 30, 196},
    {"shmctl", 31, 195},
    {"shmget", 29, 194},
    {"socket", 41, 198},
    {"socketpair", 53, 199},
    {"swapoff", 168, 225},
    {"swapon", 167, 224},
    {"syslog", 103, 116},
    {"umount2", 166, 39},
    {"unshare", 272, 97},
    {"userfaultfd", 323, 282},
    {"vfork", 58, absent},
    {"vhangup", 153, 58},
}};

const Entry& entryOf(SystemCall call) noexcept {
  return entries[static_cast<std::size_t>(call)];
}

}  // namespace

std::optional<std::uint32_t> numberOf(SystemCall call, Machine machine) noexcept {
  const std::int32_t number = machine == Machine::X86_64 ? entryOf(call).x86_64 : entryOf(call).aarch64;
  if (number == absent) return std::nullopt;
  return static_cast<std::uint32_t>(number);
}

std::string_view nameOf(SystemCall call) noexcept {
  return entryOf(call).name;
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <csetjmp>
#include <csignal>

#include <fcntl.h>
#include <linux/bpf.h>
#include <linux/keyctl.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/personality.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/sandbox/EscapeScene.h"

// Calls that would change the machine are made with arguments that no kernel takes: what is looked at is whether they
// get as far as their arguments.
namespace vanto::testing {
namespace {

// Newer than some systems' headers.
constexpr long openTree = 428;
constexpr long moveMount = 429;
constexpr long openFileSystem = 430;
constexpr long configureFileSystem = 431;
constexpr long mountFileSystem = 432;
constexpr long pickFileSystem = 433;
constexpr long setMountAttributes = 442;
constexpr long quotaByDescriptor = 443;
constexpr long openTreeWithAttributes = 467;

template <typename... Arguments>
int call(long number, Arguments... arguments) {
  return outcomeOf(syscall(number, arguments...));
}

const char* missing() {
  return "/vanto-no-such-file";
}

int tryTerminal(EscapeScene& scene, unsigned long request) {
  char character = 2;
  return call(SYS_ioctl, scene.terminal, request, &character);
}

#if defined(__x86_64__)
sigjmp_buf withoutGate;

/// By the gate of 32-bit programs, which some kernels do not have.
int tryForeignCall(EscapeScene&) {
  constexpr long getProcessId = 20;
  std::signal(SIGSEGV, [](int) { siglongjmp(withoutGate, 1); });
  if (sigsetjmp(withoutGate, 1) != 0) return noSuchWay;
  long result = getProcessId;
  asm volatile("int $0x80" : "+a"(result) : : "memory", "r8", "r9", "r10", "r11");
  return result < 0 ? -static_cast<int>(result) : 0;
}

/// By the numbers of the form with small addresses, which count on from this one.
int tryShortCall(EscapeScene&) {
  constexpr long firstNumber = 0x40000000;
  return call(firstNumber + SYS_getpid);
}

int tryPorts(EscapeScene&) {
  // Taken away, which needs no privilege.
  return call(SYS_ioperm, 0, 1, 0);
}

int tryPortLevel(EscapeScene&) {
  return call(SYS_iopl, 0);
}
#else
int tryForeignCall(EscapeScene&) {
  return noSuchWay;
}
constexpr EscapeProbe tryShortCall = tryForeignCall;
constexpr EscapeProbe tryPorts = tryForeignCall;
constexpr EscapeProbe tryPortLevel = tryForeignCall;
#endif

constexpr auto mountTable = std::to_array<NamedProbe>({
    {"mount",
     [](EscapeScene&) {
       return outcomeOf(mount("none", missing(), "tmpfs", 0, nullptr));
     }},
    {"unmount",
     [](EscapeScene&) {
       return outcomeOf(umount2(missing(), 0));
     }},
    {"open-tree",
     [](EscapeScene& scene) {
       return call(openTree, AT_FDCWD, scene.outside("").c_str(), 0);
     }},
    {"open-tree-attributes",
     [](EscapeScene& scene) {
       return call(openTreeWithAttributes, AT_FDCWD, scene.outside("").c_str(), 0, nullptr, 0);
     }},
    {"move-mount",
     [](EscapeScene&) {
       return call(moveMount, -1, missing(), -1, missing(), 0);
     }},
    {"open-file-system",
     [](EscapeScene&) {
       return call(openFileSystem, "tmpfs", 1);
     }},
    {"configure-file-system",
     [](EscapeScene&) {
       return call(configureFileSystem, -1, 6, nullptr, nullptr, 0);
     }},
    {"mount-file-system",
     [](EscapeScene&) {
       return call(mountFileSystem, -1, 0, 0);
     }},
    {"pick-file-system",
     [](EscapeScene&) {
       return call(pickFileSystem, AT_FDCWD, missing(), 0);
     }},
    {"set-mount-attributes",
     [](EscapeScene&) {
       return call(setMountAttributes, AT_FDCWD, missing(), 0, nullptr, 0);
     }},
    {"pivot-root",
     [](EscapeScene&) {
       return call(SYS_pivot_root, missing(), missing());
     }},
    {"change-root",
     [](EscapeScene&) {
       return outcomeOf(chroot(missing()));
     }},
    {"open-by-handle",
     [](EscapeScene&) {
       return call(SYS_open_by_handle_at, -1, nullptr, O_RDONLY);
     }},
    {"quota",
     [](EscapeScene&) {
       return call(SYS_quotactl, 0, missing(), 0, nullptr);
     }},
    {"quota-by-descriptor",
     [](EscapeScene&) {
       return call(quotaByDescriptor, -1, 0, 0, nullptr);
     }},
    {"swap-on",
     [](EscapeScene&) {
       return call(SYS_swapon, missing(), 0);
     }},
    {"swap-off",
     [](EscapeScene&) {
       return call(SYS_swapoff, missing());
     }},
    {"account",
     [](EscapeScene&) {
       return call(SYS_acct, missing());
     }},
});

constexpr auto machineTable = std::to_array<NamedProbe>({
    {"io-uring-setup",
     [](EscapeScene&) {
       return call(SYS_io_uring_setup, 1, nullptr);
     }},
    {"io-uring-enter",
     [](EscapeScene&) {
       return call(SYS_io_uring_enter, -1, 0, 0, 0, nullptr, 0);
     }},
    {"io-uring-register",
     [](EscapeScene&) {
       return call(SYS_io_uring_register, -1, 0, nullptr, 0);
     }},
    {"keys-control",
     [](EscapeScene&) {
       return call(SYS_keyctl, KEYCTL_GET_KEYRING_ID, KEY_SPEC_PROCESS_KEYRING, 0, 0, 0);
     }},
    {"keys-add",
     [](EscapeScene&) {
       return call(SYS_add_key, nullptr, nullptr, nullptr, 0, 0);
     }},
    {"keys-request",
     [](EscapeScene&) {
       return call(SYS_request_key, nullptr, nullptr, nullptr, 0);
     }},
    {"bpf",
     [](EscapeScene&) {
       return call(SYS_bpf, -1, nullptr, 0);
     }},
    {"performance-events",
     [](EscapeScene&) {
       return call(SYS_perf_event_open, nullptr, 0, -1, -1, 0);
     }},
    {"user-faults",
     [](EscapeScene&) {
       return call(SYS_userfaultfd, O_CLOEXEC | 1);
     }},
    {"personality",
     [](EscapeScene&) {
       return outcomeOf(personality(ADDR_NO_RANDOMIZE));
     }},
    {"load-kernel",
     [](EscapeScene&) {
       return call(SYS_kexec_load, 0, 1000, nullptr, 0);
     }},
    {"load-kernel-file",
     [](EscapeScene&) {
       return call(SYS_kexec_file_load, -1, -1, 0, nullptr, 0);
     }},
    {"load-module",
     [](EscapeScene&) {
       return call(SYS_init_module, nullptr, 0, "");
     }},
    {"load-module-file",
     [](EscapeScene&) {
       return call(SYS_finit_module, -1, "", 0);
     }},
    {"unload-module",
     [](EscapeScene&) {
       return call(SYS_delete_module, "vanto_no_such", O_NONBLOCK);
     }},
    {"reboot",
     [](EscapeScene&) {
       return call(SYS_reboot, 0, 0, 0, nullptr);
     }},
    {"machine-ports", tryPorts},
    {"machine-port-level", tryPortLevel},
    {"foreign-call", tryForeignCall},
    {"foreign-call-short", tryShortCall},
    {"kernel-log",
     [](EscapeScene&) {
       // How many bytes it holds.
       return call(SYS_syslog, 10, nullptr, 0);
     }},
    {"type-into-terminal",
     [](EscapeScene& scene) {
       return tryTerminal(scene, TIOCSTI);
     }},
    {"type-into-terminal-high-bits",
     [](EscapeScene& scene) {
       return tryTerminal(scene, TIOCSTI | 1UL << 32);
     }},
    {"type-into-console",
     [](EscapeScene& scene) {
       return tryTerminal(scene, TIOCLINUX);
     }},
});

}  // namespace

EscapeProbes kernelProbes() {
  EscapeProbes probes(mountTable.begin(), mountTable.end());
  probes.insert(machineTable.begin(), machineTable.end());
  return probes;
}

}  // namespace vanto::testing

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/SystemCallRule.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace vanto {
namespace {

using Relation = ArgumentTest::Relation;
using enum SystemCall;

constexpr std::uint32_t everyBit = 0xffffffff;

// The kernel's numbers, which are the same on all machines that the filter is written for.
constexpr std::uint32_t cloneThread = 0x00010000;
/// Mount, cgroup, UTS, IPC, user, process and network namespaces.
constexpr std::uint32_t cloneNamespaces = 0x7e020000;
constexpr std::uint32_t terminalPutBack = 0x5412;
constexpr std::uint32_t consoleControl = 0x541c;
constexpr std::uint32_t fileTypeMask = 0170000;
constexpr std::uint32_t characterDevice = 0020000;
constexpr std::uint32_t blockDevice = 0060000;
constexpr std::uint32_t sealedAgainstExecution = 0x0008;
constexpr std::uint32_t queryPersonality = 0xffffffff;
constexpr std::uint32_t familyUnix = 1;
constexpr std::uint32_t familyInternet = 2;
constexpr std::uint32_t familyInternet6 = 10;
constexpr std::uint32_t socketTypeMask = 0xf;
constexpr std::uint32_t streamSocket = 1;
constexpr std::uint32_t protocolTcp = 6;
constexpr std::uint32_t sendAndConnect = 0x20000000;

/// Ways to other processes, to the kernel itself, and around the rules for files. Shared memory, semaphores and queues
/// of System V, and queues of POSIX, belong to no directory, so no rule could be about them.
constexpr std::array alwaysRefused{
    Acct,           AddKey,          Adjtimex,      Bpf,          Chroot,          ClockAdjtime,   ClockSettime,
    DeleteModule,   FanotifyInit,    FinitModule,   Fsconfig,     Fsmount,         Fsopen,         Fspick,
    InitModule,     Ioperm,          Iopl,          IoUringEnter, IoUringRegister, IoUringSetup,   Kcmp,
    KexecFileLoad,  KexecLoad,       Keyctl,        ModifyLdt,    Mount,           MountSetattr,   MoveMount,
    MqOpen,         MqUnlink,        Msgctl,        Msgget,       Msgrcv,          Msgsnd,         OpenByHandleAt,
    OpenTree,       OpenTreeAttr,    PerfEventOpen, PidfdGetfd,   PivotRoot,       ProcessMadvise, ProcessMrelease,
    ProcessVmReadv, ProcessVmWritev, Ptrace,        Quotactl,     QuotactlFd,      Reboot,         RequestKey,
    Semctl,         Semget,          Semop,         Semtimedop,   Setdomainname,   Sethostname,    Setns,
    Settimeofday,   Shmat,           Shmctl,        Shmget,       Swapoff,         Swapon,         Syslog,
    Umount2,        Unshare,         Userfaultfd,   Vhangup};

/// Rules on their way into a list.
class Rules {
 public:
  void refuse(SystemCall call, std::vector<ArgumentTest> tests = {}) {
    rules_.push_back({call, EPERM, std::move(tests)});
  }
  void pretendMissing(SystemCall call) { rules_.push_back({call, ENOSYS, {}}); }
  [[nodiscard]] std::vector<SystemCallRule> take() { return std::move(rules_); }

 private:
  std::vector<SystemCallRule> rules_;
};

constexpr ArgumentTest is(std::uint8_t index, std::uint32_t value, std::uint32_t mask = everyBit) noexcept {
  return {index, Relation::Equal, mask, value};
}

constexpr ArgumentTest isNot(std::uint8_t index, std::uint32_t value, std::uint32_t mask = everyBit) noexcept {
  return {index, Relation::Different, mask, value};
}

void addAlways(Rules& rules) {
  for (const SystemCall call : alwaysRefused) rules.refuse(call);
  // Its arguments lie in memory, where a filter cannot look; C libraries fall back to clone when it is missing.
  rules.pretendMissing(Clone3);
  rules.refuse(Clone, {isNot(0, 0, cloneNamespaces)});
  rules.refuse(Personality, {isNot(0, queryPersonality)});
  // Both type for the user: into a terminal, or into a console.
  for (const std::uint32_t request : {terminalPutBack, consoleControl}) rules.refuse(Ioctl, {is(1, request)});
  for (const std::uint32_t device : {characterDevice, blockDevice}) {
    rules.refuse(Mknod, {is(1, device, fileTypeMask)});
    rules.refuse(Mknodat, {is(2, device, fileTypeMask)});
  }
}

void addProcesses(const Policy& policy, Rules& rules) {
  if (!policy.allowsAll(Right::Processes)) {
    rules.refuse(Fork);
    rules.refuse(Vfork);
    rules.refuse(Clone, {is(0, 0, cloneThread)});
  }
  if (!policy.allowsAny(Right::Execute)) {
    rules.refuse(Execve);
    rules.refuse(Execveat);
  } else {
    // A program in nameless memory has no path that a rule could be about.
    rules.refuse(MemfdCreate, {is(1, 0, sealedAgainstExecution)});
  }
}

void addSocketsButTcp(Rules& rules) {
  rules.refuse(Socket, {isNot(0, familyUnix), isNot(0, familyInternet), isNot(0, familyInternet6)});
  rules.refuse(Socket, {isNot(0, familyUnix), isNot(1, streamSocket, socketTypeMask)});
  rules.refuse(Socket, {isNot(0, familyUnix), isNot(2, 0), isNot(2, protocolTcp)});
  // Sending can connect as well, which some kernels do without a look at the rules for ports.
  rules.refuse(Sendto, {isNot(3, 0, sendAndConnect)});
  rules.refuse(Sendmsg, {isNot(2, 0, sendAndConnect)});
  rules.refuse(Sendmmsg, {isNot(3, 0, sendAndConnect)});
}

void addNetwork(NetworkMode network, Rules& rules) {
  if (network == NetworkMode::All) return;
  rules.refuse(Socketpair, {isNot(0, familyUnix)});
  if (network == NetworkMode::None) {
    rules.refuse(Socket, {isNot(0, familyUnix)});
  } else {
    addSocketsButTcp(rules);
  }
}

}  // namespace

std::vector<SystemCallRule> systemCallRulesOf(const Policy& policy) {
  Rules rules;
  addAlways(rules);
  addProcesses(policy, rules);
  addNetwork(policy.network, rules);
  return rules.take();
}

}  // namespace vanto

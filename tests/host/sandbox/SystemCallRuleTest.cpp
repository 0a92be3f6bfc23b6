// SPDX-License-Identifier: Apache-2.0
#include "sandbox/SystemCallRule.h"

#include <array>
#include <cerrno>
#include <string>

#include <linux/audit.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/FilterMachine.h"
#include "sandbox/FilterProgram.h"

namespace {

using vanto::Machine;
using vanto::SystemCall;
using vanto::testing::compiled;
using Arguments = std::array<std::uint64_t, 6>;

const std::string refused = "error " + std::to_string(EPERM);
const std::string missing = "error " + std::to_string(ENOSYS);

/// What a policy says to a call, the same on every machine that has it.
class Filter {
 public:
  explicit Filter(std::string_view profile) {
    const auto rules = vanto::systemCallRulesOf(compiled(profile));
    for (const Machine machine : {Machine::X86_64, Machine::Aarch64}) {
      programs_[static_cast<std::size_t>(machine)] = vanto::filterProgramOf(rules, machine);
    }
  }

  std::string operator()(SystemCall call, Arguments arguments = {}) const {
    std::string answer;
    for (const Machine machine : {Machine::X86_64, Machine::Aarch64}) {
      const auto number = vanto::numberOf(call, machine);
      if (!number) continue;
      const std::string one = answerOn(machine, *number, arguments);
      if (!answer.empty() && one != answer) return answer + " and " + one;
      answer = one;
    }
    return answer;
  }

 private:
  std::string answerOn(Machine machine, std::uint32_t number, const Arguments& arguments) const {
    seccomp_data data{};
    data.nr = static_cast<int>(number);
    data.arch = machine == Machine::X86_64 ? AUDIT_ARCH_X86_64 : AUDIT_ARCH_AARCH64;
    for (std::size_t index = 0; index < arguments.size(); ++index) data.args[index] = arguments[index];
    return vanto::testing::answerOf(programs_[static_cast<std::size_t>(machine)], data);
  }

  std::array<std::vector<sock_filter>, 2> programs_;
};

constexpr const char* everything =
    "allow read,write,create,remove,rename,execute,ioctl,socket /\nallow network\nallow abstract\nallow signal\n"
    "allow processes\n";

TEST(SystemCallRule, AlwaysRefusesWaysToOtherProcessesAndTheKernel) {
  const Filter filter(everything);
  using enum SystemCall;
  for (const SystemCall call :
       {Acct,           AddKey,          Adjtimex,      Bpf,          Chroot,          ClockAdjtime,   ClockSettime,
        DeleteModule,   FanotifyInit,    FinitModule,   Fsconfig,     Fsmount,         Fsopen,         Fspick,
        InitModule,     Ioperm,          Iopl,          IoUringEnter, IoUringRegister, IoUringSetup,   Kcmp,
        KexecFileLoad,  KexecLoad,       Keyctl,        ModifyLdt,    Mount,           MountSetattr,   MoveMount,
        MqOpen,         MqUnlink,        Msgctl,        Msgget,       Msgrcv,          Msgsnd,         OpenByHandleAt,
        OpenTree,       OpenTreeAttr,    PerfEventOpen, PidfdGetfd,   PivotRoot,       ProcessMadvise, ProcessMrelease,
        ProcessVmReadv, ProcessVmWritev, Ptrace,        Quotactl,     QuotactlFd,      Reboot,         RequestKey,
        Semctl,         Semget,          Semop,         Semtimedop,   Setdomainname,   Sethostname,    Setns,
        Settimeofday,   Shmat,           Shmctl,        Shmget,       Swapoff,         Swapon,         Syslog,
        Umount2,        Unshare,         Userfaultfd,   Vhangup}) {
    EXPECT_EQ(filter(call), refused) << vanto::nameOf(call);
    EXPECT_EQ(filter(call, {~0ULL, ~0ULL, ~0ULL, ~0ULL, ~0ULL, ~0ULL}), refused) << vanto::nameOf(call);
  }
}

TEST(SystemCallRule, LetsThroughWhatIsAllowed) {
  const Filter filter(everything);
  using enum SystemCall;
  for (const SystemCall call : {Execve, Execveat, Fork, Vfork, Clone, Socket, Socketpair, Sendto, Ioctl, Mknodat}) {
    EXPECT_EQ(filter(call), "allow") << vanto::nameOf(call);
  }
  EXPECT_EQ(filter(Socket, {16, 3, 9}), "allow");
  EXPECT_EQ(filter(Sendto, {0, 0, 0, 0x20000000}), "allow");
}

TEST(SystemCallRule, LetsNobodyMakeNamespaces) {
  for (const char* profile : {"", everything}) {
    const Filter filter(profile);
    EXPECT_EQ(filter(SystemCall::Clone3), missing);
    for (const std::uint64_t flag :
         {0x00020000, 0x02000000, 0x04000000, 0x08000000, 0x10000000, 0x20000000, 0x40000000}) {
      EXPECT_EQ(filter(SystemCall::Clone, {flag}), refused) << flag;
      EXPECT_EQ(filter(SystemCall::Clone, {flag | 0x00010000}), refused) << flag;
    }
  }
}

TEST(SystemCallRule, LetsMakeThreadsButNoProcesses) {
  const Filter none("");
  constexpr std::uint64_t threadFlags = 0x003d0f00;
  constexpr std::uint64_t spawnFlags = 0x00004111;
  EXPECT_EQ(none(SystemCall::Clone, {threadFlags}), "allow");
  EXPECT_EQ(none(SystemCall::Clone, {spawnFlags}), refused);
  EXPECT_EQ(none(SystemCall::Clone, {17}), refused);
  EXPECT_EQ(none(SystemCall::Fork), refused);
  EXPECT_EQ(none(SystemCall::Vfork), refused);
  const Filter some("allow processes");
  EXPECT_EQ(some(SystemCall::Clone, {spawnFlags}), "allow");
  EXPECT_EQ(some(SystemCall::Clone, {threadFlags}), "allow");
  EXPECT_EQ(some(SystemCall::Fork), "allow");
  EXPECT_EQ(some(SystemCall::Execve), refused);
}

TEST(SystemCallRule, LetsExecuteOnlyWhatHasAPath) {
  const Filter none("allow processes");
  EXPECT_EQ(none(SystemCall::Execve), refused);
  EXPECT_EQ(none(SystemCall::Execveat), refused);
  EXPECT_EQ(none(SystemCall::MemfdCreate, {0, 1}), "allow");
  const Filter some("allow execute /usr/bin/a");
  EXPECT_EQ(some(SystemCall::Execve), "allow");
  EXPECT_EQ(some(SystemCall::Execveat), "allow");
  EXPECT_EQ(some(SystemCall::MemfdCreate, {0, 1}), refused);
  EXPECT_EQ(some(SystemCall::MemfdCreate, {0, 0x10}), refused);
  EXPECT_EQ(some(SystemCall::MemfdCreate, {0, 0x9}), "allow");
}

TEST(SystemCallRule, LooksAtTheLowerHalfOfArgumentsAsTheKernelDoes) {
  const Filter filter("");
  EXPECT_EQ(filter(SystemCall::Ioctl, {0, 0x5412}), refused);
  EXPECT_EQ(filter(SystemCall::Ioctl, {0, 0x100005412}), refused);
  EXPECT_EQ(filter(SystemCall::Ioctl, {0, 0x541c}), refused);
  EXPECT_EQ(filter(SystemCall::Ioctl, {0x5412, 0x5413}), "allow");
  EXPECT_EQ(filter(SystemCall::Socket, {0x100000001, 1, 0}), "allow");
}

TEST(SystemCallRule, LetsAskForThePersonalityOnly) {
  const Filter filter(everything);
  EXPECT_EQ(filter(SystemCall::Personality, {0xffffffff}), "allow");
  EXPECT_EQ(filter(SystemCall::Personality, {0}), refused);
  EXPECT_EQ(filter(SystemCall::Personality, {0x40000}), refused);
}

TEST(SystemCallRule, LetsMakeFilesButNoDevices) {
  const Filter filter(everything);
  for (const std::uint64_t device : {0020600, 0060600}) {
    EXPECT_EQ(filter(SystemCall::Mknod, {0, device}), refused);
    EXPECT_EQ(filter(SystemCall::Mknodat, {0, 0, device}), refused);
  }
  for (const std::uint64_t file : {0010600, 0100600, 0140600, 0600}) {
    EXPECT_EQ(filter(SystemCall::Mknod, {0, file}), "allow");
    EXPECT_EQ(filter(SystemCall::Mknodat, {0, 0, file}), "allow");
  }
}

TEST(SystemCallRule, GivesSocketsByTheNetwork) {
  struct Row {
    const char* what;
    Arguments arguments;
    bool withoutNetwork;
    bool withTcp;
  };
  const Filter none("");
  const Filter tcp("allow connect tcp 443");
  const Filter all("allow network");
  for (const Row& row : {
           Row{"Unix stream", {1, 1, 0}, true, true},
           Row{"Unix packets, close-on-exec", {1, 5 | 02000000, 0}, true, true},
           Row{"TCP", {2, 1, 0}, false, true},
           Row{"TCP 6, non-blocking, outright", {10, 1 | 02004000, 6}, false, true},
           Row{"UDP", {2, 2, 0}, false, false},
           Row{"UDP 6", {10, 2, 17}, false, false},
           Row{"raw", {2, 3, 1}, false, false},
           Row{"multipath TCP", {2, 1, 262}, false, false},
           Row{"SCTP", {2, 1, 132}, false, false},
           Row{"netlink", {16, 3, 0}, false, false},
           Row{"packet", {17, 3, 768}, false, false},
           Row{"virtual machine", {40, 1, 0}, false, false},
           Row{"kernel cryptography", {38, 5, 0}, false, false},
           Row{"no family", {0, 1, 0}, false, false},
       }) {
    EXPECT_EQ(none(SystemCall::Socket, row.arguments), row.withoutNetwork ? "allow" : refused) << row.what;
    EXPECT_EQ(tcp(SystemCall::Socket, row.arguments), row.withTcp ? "allow" : refused) << row.what;
    EXPECT_EQ(all(SystemCall::Socket, row.arguments), "allow") << row.what;
  }
}

TEST(SystemCallRule, GivesPairsOfUnixSocketsOnly) {
  for (const char* profile : {"", "allow bind tcp 1"}) {
    EXPECT_EQ(Filter(profile)(SystemCall::Socketpair, {1, 1, 0}), "allow");
    EXPECT_EQ(Filter(profile)(SystemCall::Socketpair, {30, 1, 0}), refused);
  }
}

TEST(SystemCallRule, LetsNobodyConnectBySendingWherePortsCount) {
  const Filter filter("allow bind tcp 1");
  EXPECT_EQ(filter(SystemCall::Sendto, {0, 0, 0, 0x20000000}), refused);
  EXPECT_EQ(filter(SystemCall::Sendmsg, {0, 0, 0x20004000}), refused);
  EXPECT_EQ(filter(SystemCall::Sendmmsg, {0, 0, 0, 0x20000000}), refused);
  EXPECT_EQ(filter(SystemCall::Sendto, {0x20000000, 0x20000000, 0x20000000, 0x4000}), "allow");
  EXPECT_EQ(filter(SystemCall::Sendmsg, {0, 0, 0x4000}), "allow");
}

}  // namespace

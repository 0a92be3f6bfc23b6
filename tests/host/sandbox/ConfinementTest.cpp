// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Confinement.h"

#include <cstring>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/Untried.h"
#include "sandbox/KernelProbe.h"
#include "sandbox/Landlock.h"
#include "sandbox/Ruleset.h"
#include "support/Child.h"
#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::testing {
namespace {

bool canListRoot() {
  return static_cast<bool>(Fd(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

bool canMakeSocket() {
  return static_cast<bool>(Fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
}

std::string names(const std::vector<RightRemark>& remarks) {
  std::string text;
  for (const RightRemark& remark : remarks) text += (text.empty() ? "" : " ") + std::string(nameOf(remark.right));
  return text;
}

/// Does `work` in a child, as a process is confined once and for all.
void inChild(const std::function<void()>& work) {
  const ChildOutcome outcome = runInChild([&](const ChildReport& report) {
    work();
    report("done");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, std::vector<std::string>{"done"});
}

void expectUnconfined() {
  EXPECT_TRUE(canListRoot());
  EXPECT_TRUE(canMakeSocket());
  EXPECT_EQ(prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0), 0);
}

TEST(Confinement, DeniesWhatThePolicyDoesNotAllow) {
  inChild([] {
    const Receipt receipt = Confinement().enter(compiled("allow read /etc"));
    EXPECT_EQ(receipt.error, "");
    EXPECT_EQ(receipt.witness, WitnessResult::Denied);
    EXPECT_FALSE(canListRoot());
    EXPECT_FALSE(canMakeSocket());
    EXPECT_TRUE(Fd(open("/etc/passwd", O_RDONLY | O_CLOEXEC)));
  });
}

TEST(Confinement, TellsWhatIsMissingOnAnOlderKernel) {
  inChild([] {
    const Receipt receipt = Confinement(kernelRightsOf(2)).enter(compiled("allow rename /"));
    EXPECT_EQ(receipt.error, "");
    EXPECT_EQ(receipt.level, ConfinementLevel::Reduced);
    EXPECT_EQ(names(receipt.missing), "truncate ioctl socket abstract signal");
    EXPECT_EQ(receipt.enforced | Right::Truncate | Right::Ioctl | Right::Socket | Right::Abstract | Right::Signal,
              receipt.asked);
    EXPECT_FALSE(receipt.enforced.contains(Right::Truncate));
    EXPECT_TRUE(receipt.enforced.contains(Right::Read));
  });
}

TEST(Confinement, IsFullWhenAllThatIsAskedIsEnforced) {
  inChild([] {
    const char* profile = "allow truncate,ioctl,socket,rename /\nallow abstract\nallow signal\n";
    const Receipt receipt = Confinement(kernelRightsOf(2)).enter(compiled(profile));
    EXPECT_EQ(receipt.level, ConfinementLevel::Full);
    EXPECT_EQ(receipt.enforced, receipt.asked);
  });
}

TEST(Confinement, IsReducedBeforeLinux71UnlessAllUnixSocketsAreAllowed) {
  for (const int generation : {6, 7, 8}) {
    inChild([generation] {
      const Receipt receipt = Confinement(kernelRightsOf(generation)).enter(compiled("network none"));
      EXPECT_EQ(receipt.level, ConfinementLevel::Reduced);
      EXPECT_EQ(names(receipt.missing), "socket");
    });
    inChild([generation] {
      const Receipt receipt = Confinement(kernelRightsOf(generation)).enter(compiled("allow socket /"));
      EXPECT_EQ(receipt.level, ConfinementLevel::Full);
      EXPECT_EQ(names(receipt.missing), "");
    });
  }
}

TEST(Confinement, NamesWhatTheKernelWithholds) {
  inChild([] {
    const Receipt receipt = Confinement(kernelRightsOf(1)).enter(compiled("allow rename /tmp"));
    EXPECT_EQ(receipt.error, "");
    EXPECT_EQ(names(receipt.withheld), "rename");
  });
}

TEST(Confinement, NamesAbsentPathsOfTheProfileOnly) {
  inChild([] {
    const std::vector<PlannedPath> own{{"/no-such-own", 4}};
    const Receipt receipt = Confinement().enter(compiled("include base\nallow read /no-such /etc/passwd/x\n"), own);
    EXPECT_EQ(receipt.error, "");
    ASSERT_EQ(receipt.absent.size(), 2U);
    EXPECT_EQ(receipt.absent[0].path, "/etc/passwd/x");
    EXPECT_EQ(receipt.absent[0].reason, "Not a directory");
    EXPECT_EQ(receipt.absent[1].path, "/no-such");
    EXPECT_EQ(receipt.absent[1].reason, "No such file or directory");
  });
}

class ConfinementOfAService : public ::testing::Test {
 protected:
  ConfinementOfAService() {
    for (const char* name : {"own", "own/data", "secret"}) mkdir((directory_ / name).c_str(), 0700);
    std::ofstream(directory_ / "secret/file") << "contents";
  }

  /// What the service does while it is confined; then what it may read when it is started once more.
  void startTwice(const std::function<void(const std::string& own)>& work, std::string_view absence) const {
    const Policy policy = compiled("allow read,write,create,remove " + (directory_ / "own") + "\nallow read " +
                                   (directory_ / "own/data"));
    inChild([&] {
      EXPECT_EQ(Confinement().enter(policy).error, "");
      work(directory_ / "own");
    });
    inChild([&] {
      const Receipt receipt = Confinement().enter(policy);
      EXPECT_EQ(receipt.error, "");
      EXPECT_EQ(receipt.witness, WitnessResult::Denied);
      ASSERT_EQ(receipt.absent.size(), 1U);
      EXPECT_EQ(receipt.absent[0].path, directory_ / "own/data");
      EXPECT_EQ(receipt.absent[0].reason, absence);
      EXPECT_FALSE(Fd(open((directory_ / "secret/file").c_str(), O_RDONLY | O_CLOEXEC)));
      EXPECT_FALSE(canListRoot());
    });
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(ConfinementOfAService, IsNotWidenedByALinkThatItHasMade) {
  for (const std::string& target : {directory_ / "secret", std::string("/"), std::string("/proc/self/ns/net")}) {
    startTwice(
        [&](const std::string& own) {
          EXPECT_TRUE(rmdir((own + "/data").c_str()) == 0 || unlink((own + "/data").c_str()) == 0);
          EXPECT_EQ(symlink(target.c_str(), (own + "/data").c_str()), 0);
        },
        "the profile lets links be made where " + (directory_ / "own/data") + " is, so that it is not followed");
  }
}

TEST_F(ConfinementOfAService, IsNotGivenUpOverWhatItHasRemoved) {
  startTwice([](const std::string& own) { EXPECT_EQ(rmdir((own + "/data").c_str()), 0); }, "No such file or directory");
}

TEST(Confinement, GivesThePlatformItsOwn) {
  inChild([] {
    const std::vector<PlannedPath> own{{"/etc/passwd", 4}};
    EXPECT_EQ(Confinement().enter(compiled(""), own).error, "");
    EXPECT_TRUE(Fd(open("/etc/passwd", O_RDONLY | O_CLOEXEC)));
    EXPECT_FALSE(Fd(open("/etc/group", O_RDONLY | O_CLOEXEC)));
  });
}

TEST(Confinement, IsRefusedWhenARequirementIsNotMet) {
  inChild([] {
    const Receipt receipt = Confinement(kernelRightsOf(2)).enter(compiled("require read truncate signal"));
    EXPECT_EQ(
        receipt.error,
        "the profile requires truncate: this kernel cannot deny it; Linux 6.2 is the first that can; signal: this "
        "kernel cannot deny it; Linux 6.12 is the first that can");
    EXPECT_EQ(receipt.level, ConfinementLevel::None);
    EXPECT_TRUE(receipt.enforced.isEmpty());
    expectUnconfined();
  });
}

TEST(Confinement, IsRefusedWithoutLandlockWhateverAFilterCouldDo) {
  inChild([] {
    for (const KernelRights& kernel : {KernelRights(), kernelRightsOf(0)}) {
      const Receipt receipt = Confinement(kernel).enter(compiled("require network"));
      EXPECT_EQ(receipt.error,
                "this kernel has no Landlock, or it is switched off, and without it no profile is entered; start Linux "
                "5.13 or newer with landlock among the modules of its parameter lsm");
      EXPECT_EQ(receipt.level, ConfinementLevel::None);
      EXPECT_TRUE(receipt.enforced.isEmpty());
      EXPECT_EQ(receipt.missing.size(), allRights.size());
      EXPECT_EQ(receipt.witness, WitnessResult::Untested);
      expectUnconfined();
    }
  });
}

TEST(Confinement, WorksWithoutAFilter) {
  inChild([] {
    KernelRights kernel = kernelRightsOf(landlockGenerations);
    kernel.hasFilter = false;
    const Receipt receipt = Confinement(kernel).enter(compiled(""));
    EXPECT_EQ(receipt.error, "");
    EXPECT_EQ(receipt.witnessSubject, "list /");
    EXPECT_FALSE(canListRoot());
    EXPECT_TRUE(canMakeSocket());
  });
}

TEST(Confinement, IsRefusedWhereThereIsASecondThread) {
  inChild([] {
    std::string error;
    std::atomic<bool> isOver{false};
    std::thread second([&] { isOver.wait(false); });
    error = Confinement().enter(compiled("")).error;
    expectUnconfined();
    isOver = true;
    isOver.notify_all();
    second.join();
    EXPECT_EQ(
        error,
        "the process has 2 threads, of which only one could be confined; enter the sandbox before others are made");
  });
}

TEST(Confinement, ChangesNothingWhenTheKernelRefusesTheRuleset) {
  if (probeKernelRights()->fileBits == 0) return announceUntried("ruleset", "this kernel has no Landlock");
  inChild([] {
    // A process can be confined so often only.
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    int count = 0;
    for (;; ++count) {
      Ruleset ruleset;
      ASSERT_TRUE(ruleset.create(8192, 0, 0));
      if (!ruleset.enter()) break;
    }
    EXPECT_EQ(count, 16);
    const Receipt receipt = Confinement().enter(compiled(""));
    EXPECT_EQ(receipt.error,
              "the ruleset is refused: Argument list too long; processes and their parents are confined 16 times at "
              "most; start the service from one that is confined less often");
    EXPECT_EQ(receipt.level, ConfinementLevel::None);
    EXPECT_TRUE(canListRoot());
    EXPECT_TRUE(canMakeSocket());
  });
}

std::vector<Fd> everyDescriptor() {
  std::vector<Fd> all;
  for (Fd one(open("/", O_PATH | O_CLOEXEC)); one; one = Fd(open("/", O_PATH | O_CLOEXEC))) {
    all.push_back(std::move(one));
  }
  return all;
}

TEST(Confinement, IsRefusedWhereTheKernelCannotBeAskedForWantOfDescriptors) {
  inChild([] {
    std::vector<Fd> all = everyDescriptor();
    const std::string error = Confinement().enter(compiled("")).error;
    all.clear();
    EXPECT_EQ(error,
              "cannot tell what this kernel enforces: Too many open files; raise the limit of open files, or open "
              "fewer before");
    expectUnconfined();
  });
}

/// From here on the process cannot call `number`, with `first` as its first argument where that is given.
void refuseCall(std::uint32_t number, std::optional<std::uint32_t> first, std::uint32_t error) {
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
      BPF_JUMP(BPF_JMP | (first ? BPF_JEQ : BPF_JGE) | BPF_K, first.value_or(0), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{std::size(code), code};
  ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

void expectRefused(const std::string& error) {
  const Receipt receipt = Confinement().enter(compiled(""));
  EXPECT_EQ(receipt.error, error);
  EXPECT_EQ(receipt.level, ConfinementLevel::None);
  EXPECT_TRUE(receipt.enforced.isEmpty());
  EXPECT_TRUE(canListRoot());
  EXPECT_TRUE(canMakeSocket());
}

TEST(Confinement, IsRefusedWhereTheThreadsCannotBeCounted) {
  inChild([] {
    refuseCall(SYS_newfstatat, std::nullopt, ENOENT);
    expectRefused(
        "cannot count the threads of this process in /proc/self/task: No such file or directory; start the service "
        "where /proc is mounted");
  });
}

TEST(Confinement, IsRefusedWhereNewPrivilegesCannotBeGivenUp) {
  inChild([] {
    refuseCall(SYS_prctl, PR_SET_NO_NEW_PRIVS, EPERM);
    expectRefused(
        "cannot give up new privileges: Operation not permitted; something around the service filters system calls, "
        "such as a container; allow this one there");
  });
}

TEST(Confinement, TellsWhoKeepsItFromLandlock) {
  // 444 is landlock_create_ruleset, which headers may not know.
  for (const int error : {EPERM, EACCES}) {
    inChild([&] {
      refuseCall(444, std::nullopt, static_cast<std::uint32_t>(error));
      expectRefused("landlock_create_ruleset is refused, and without Landlock no profile is entered: " +
                    std::string(std::strerror(error)) +
                    "; something around the service filters system calls, such as a container; allow this one there");
    });
  }
  for (const int error : {ENOSYS, EOPNOTSUPP}) {
    inChild([&] {
      refuseCall(444, std::nullopt, static_cast<std::uint32_t>(error));
      expectRefused(
          "this kernel has no Landlock, or it is switched off, and without it no profile is entered; start Linux "
          "5.13 or newer with landlock among the modules of its parameter lsm");
    });
  }
}

TEST(Confinement, IsTightWhereAPathCannotBeOpenedForWantOfDescriptors) {
  inChild([] {
    std::vector<Fd> all = everyDescriptor();
    all.pop_back();
    const Receipt receipt = Confinement().enter(compiled("allow read /etc"));
    all.clear();
    EXPECT_EQ(receipt.error, "");
    ASSERT_EQ(receipt.absent.size(), 1U);
    EXPECT_EQ(receipt.absent[0].path, "/etc");
    EXPECT_EQ(receipt.absent[0].reason, "Too many open files");
    EXPECT_EQ(receipt.witnessSubject, "make a UDP socket, call unshare");
    EXPECT_FALSE(canListRoot());
    EXPECT_FALSE(Fd(open("/etc/passwd", O_RDONLY | O_CLOEXEC)));
  });
}

TEST(Confinement, SaysWhatIsInForceWhenSomethingForbiddenIsStillPossible) {
  inChild([] {
    // Stands for a kernel that does not do what it has taken.
    const std::vector<PlannedPath> own{{"/", landlock::readDirectory}};
    const Receipt receipt = Confinement().enter(compiled("allow read /etc"), own);
    EXPECT_EQ(receipt.error,
              "the kernel has taken all of it, but what is forbidden is still possible (list /); the rest of it is in "
              "force; report the kernel's version");
    EXPECT_EQ(receipt.level, ConfinementLevel::None);
    EXPECT_EQ(receipt.witness, WitnessResult::Allowed);
    EXPECT_TRUE(receipt.enforced.isEmpty());
    EXPECT_FALSE(canMakeSocket());
  });
}

TEST(Confinement, CanBeTightenedByASecondOne) {
  inChild([] {
    EXPECT_EQ(Confinement().enter(compiled("include base\nallow read /etc\n")).error, "");
    const Receipt second = Confinement().enter(compiled("include base"));
    EXPECT_EQ(second.error, "");
    // What was denied already can show nothing.
    EXPECT_EQ(second.witness, WitnessResult::Untested);
    EXPECT_FALSE(Fd(open("/etc/shadow", O_RDONLY | O_CLOEXEC)));
    EXPECT_TRUE(Fd(open("/etc/passwd", O_RDONLY | O_CLOEXEC)));
  });
}

}  // namespace
}  // namespace vanto::testing

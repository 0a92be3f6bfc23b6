// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Confinement.h"

#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/Untried.h"
#include "sandbox/KernelProbe.h"
#include "sandbox/Ruleset.h"
#include "support/Child.h"
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

/// Enters `profile` in a child, and lets `look` see what came of it there.
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

TEST(Confinement, IsRefusedWhereNothingCanBeEnforced) {
  inChild([] {
    const Receipt receipt = Confinement(KernelRights()).enter(compiled(""));
    EXPECT_EQ(receipt.error, "this kernel has neither Landlock nor filters of system calls, or both are switched off");
    EXPECT_EQ(receipt.level, ConfinementLevel::None);
    expectUnconfined();
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

TEST(Confinement, WorksWithoutLandlock) {
  inChild([] {
    const Receipt receipt = Confinement(kernelRightsOf(0)).enter(compiled(""));
    EXPECT_EQ(receipt.error, "");
    EXPECT_EQ(receipt.witnessSubject, "make a UDP socket, call unshare");
    EXPECT_TRUE(canListRoot());
    EXPECT_FALSE(canMakeSocket());
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
    EXPECT_EQ(receipt.error, "the ruleset is refused: Argument list too long");
    EXPECT_EQ(receipt.level, ConfinementLevel::None);
    EXPECT_TRUE(canListRoot());
    EXPECT_TRUE(canMakeSocket());
  });
}

TEST(Confinement, IsRefusedForWantOfDescriptors) {
  inChild([] {
    std::vector<Fd> all;
    for (;;) {
      Fd one(open("/", O_PATH | O_CLOEXEC));
      if (!one) break;
      all.push_back(std::move(one));
    }
    const std::string none = Confinement().enter(compiled("")).error;
    all.pop_back();
    const std::string one = Confinement().enter(compiled("allow read /etc")).error;
    all.clear();
    EXPECT_EQ(none, "cannot tell what this kernel enforces: Too many open files");
    EXPECT_EQ(one, "cannot open /etc: Too many open files");
    expectUnconfined();
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

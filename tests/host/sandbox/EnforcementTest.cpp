// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Enforcement.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/sandbox/Reading.h"
#include "sandbox/KernelProbe.h"
#include "sandbox/Landlock.h"
#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {
namespace {

/// Of what this kernel has.
Plan filesOnly() {
  Plan plan;
  plan.fileBits = probeKernelRights()->fileBits & (landlock::refer - 1);
  return plan;
}

TEST(Enforcement, GivesFilesOnlyBitsOfFiles) {
  const test::TemporaryDirectory directory;
  const std::string file = directory / "file";
  close(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    Plan plan = filesOnly();
    plan.paths = {{file, landlock::readFile | landlock::makeFile, true}, {"/etc/passwd", landlock::makeFile, true}};
    Enforcement enforcement(plan);
    EXPECT_EQ(enforcement.prepare(), "");
    EXPECT_TRUE(enforcement.absent().empty());
    EXPECT_EQ(enforcement.enter(), "");
    EXPECT_TRUE(canRead(file));
    EXPECT_FALSE(canRead("/etc/passwd"));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Enforcement, FollowsLinksToWhatIsThereWhenItIsPrepared) {
  const test::TemporaryDirectory directory;
  for (const char* name : {"a", "b"}) ASSERT_EQ(mkdir((directory / name).c_str(), 0700), 0);
  ASSERT_EQ(symlink("a", (directory / "link").c_str()), 0);
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    Plan plan = filesOnly();
    plan.paths = {{directory / "link", landlock::readDirectory, true}};
    Enforcement enforcement(plan);
    EXPECT_EQ(enforcement.prepare(), "");
    unlink((directory / "link").c_str());
    EXPECT_EQ(symlink("b", (directory / "link").c_str()), 0);
    EXPECT_EQ(enforcement.enter(), "");
    EXPECT_TRUE(canRead(directory / "a"));
    EXPECT_FALSE(canRead(directory / "b"));
    EXPECT_FALSE(canRead(directory / "link"));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Enforcement, ChangesNothingWhileItIsPrepared) {
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    Plan plan = filesOnly();
    plan.paths = {{"/etc", landlock::readFile, true}};
    Enforcement enforcement(plan);
    EXPECT_EQ(enforcement.prepare(), "");
    EXPECT_TRUE(canRead("/"));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Enforcement, TellsWhichRuleIsRefused) {
  Plan plan = filesOnly();
  plan.paths = {{"/etc", std::uint64_t{1} << 40, true}};
  EXPECT_EQ(Enforcement(plan).prepare(), "cannot make a rule for /etc: Invalid argument");
  plan.fileBits = std::uint64_t{1} << 40;
  EXPECT_EQ(Enforcement(plan).prepare(), "cannot make a ruleset: Invalid argument");
  plan = filesOnly();
  plan.ports = {{80, 1}};
  EXPECT_EQ(Enforcement(plan).prepare(), "cannot make a rule for port 80: Invalid argument");
}

TEST(Enforcement, TellsWhatIsInForceWhenTheFilterIsRefused) {
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    Plan plan = filesOnly();
    // A jump beyond the end.
    plan.filter = {BPF_STMT(BPF_JMP | BPF_JA, 7), BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    Enforcement enforcement(plan);
    EXPECT_EQ(enforcement.prepare(), "");
    EXPECT_EQ(enforcement.enter(),
              "the filter of system calls is refused: Invalid argument; the rules for files, ports and other processes "
              "are in force");
    EXPECT_FALSE(canRead("/"));
    plan.fileBits = 0;
    EXPECT_EQ(Enforcement(plan).enter(), "the filter of system calls is refused: Invalid argument");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::testing

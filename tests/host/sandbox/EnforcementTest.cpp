// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Enforcement.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
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

std::string throughDescriptor(const Fd& open) {
  return "/proc/self/fd/" + std::to_string(open.get());
}

TEST(Enforcement, LosesOnlyThePathThatIsNoFile) {
  const test::TemporaryDirectory directory;
  int pipes[2];
  ASSERT_EQ(pipe2(pipes, O_CLOEXEC), 0);
  const Fd readEnd(pipes[0]);
  const Fd writeEnd(pipes[1]);
  const Fd socketEnd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const Fd memory(memfd_create("vanto", MFD_CLOEXEC));
  const Fd events(eventfd(0, EFD_CLOEXEC));
  ASSERT_EQ(symlink("/proc/self/ns/net", (directory / "link").c_str()), 0);
  for (const std::string& path :
       {throughDescriptor(readEnd), throughDescriptor(writeEnd), throughDescriptor(socketEnd),
        throughDescriptor(memory), throughDescriptor(events), std::string("/proc/self/ns/net"), directory / "link"}) {
    Plan plan = filesOnly();
    plan.paths = {{path, landlock::readFile, true}};
    Enforcement enforcement(plan);
    EXPECT_EQ(enforcement.prepare(), "") << path;
    ASSERT_EQ(enforcement.absent().size(), 1U) << path;
    EXPECT_EQ(enforcement.absent()[0].path, path);
    EXPECT_EQ(enforcement.absent()[0].reason, "the kernel takes no rule for what has no place among the files");
  }
}

TEST(Enforcement, LosesOnlyThePathThatCannotBeOpened) {
  const test::TemporaryDirectory directory;
  ASSERT_EQ(symlink("loop", (directory / "loop").c_str()), 0);
  std::string deep = "/";
  while (deep.size() < 4000) deep += "d/";
  struct Row {
    std::string path;
    const char* reason;
  };
  for (const Row& row :
       {Row{directory / "absent", "No such file or directory"}, Row{"/etc/passwd/x", "Not a directory"},
        Row{directory / "loop", "Too many levels of symbolic links"},
        Row{directory / std::string(256, 'n'), "File name too long"}, Row{deep, "No such file or directory"},
        Row{"/proc/self/fd/1000000", "No such file or directory"}}) {
    Plan plan = filesOnly();
    plan.paths = {{row.path, landlock::readFile, true}, {directory.path(), landlock::readDirectory, true}};
    Enforcement enforcement(plan);
    EXPECT_EQ(enforcement.prepare(), "") << row.path;
    ASSERT_EQ(enforcement.absent().size(), 1U) << row.path;
    EXPECT_EQ(enforcement.absent()[0].path, row.path);
    EXPECT_EQ(enforcement.absent()[0].reason, row.reason);
  }
}

TEST(Enforcement, WaitsForNobodyAtAFifo) {
  const test::TemporaryDirectory directory;
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  Plan plan = filesOnly();
  plan.paths = {{directory / "fifo", landlock::readFile | landlock::writeFile, true}};
  Enforcement enforcement(plan);
  EXPECT_EQ(enforcement.prepare(), "");
  EXPECT_TRUE(enforcement.absent().empty());
}

TEST(Enforcement, TellsAbsencesOfTheProfileAndOtherLossesOfAll) {
  const test::TemporaryDirectory directory;
  ASSERT_EQ(symlink("loop", (directory / "loop").c_str()), 0);
  Plan plan = filesOnly();
  plan.paths = {{directory / "absent", landlock::readFile, false},
                {directory / "loop", landlock::readFile, false},
                // For rights that this kernel does not know.
                {directory / "without-bits", 0, true}};
  Enforcement enforcement(plan);
  EXPECT_EQ(enforcement.prepare(), "");
  ASSERT_EQ(enforcement.absent().size(), 2U);
  EXPECT_EQ(enforcement.absent()[0].path, directory / "loop");
  EXPECT_EQ(enforcement.absent()[1].path, directory / "without-bits");
}

TEST(Enforcement, TellsWhatIsRefused) {
  Plan plan = filesOnly();
  plan.fileBits = landlock::readFile;
  plan.paths = {{"/etc", landlock::writeFile, true}};
  Enforcement enforcement(plan);
  EXPECT_EQ(enforcement.prepare(), "");
  ASSERT_EQ(enforcement.absent().size(), 1U);
  EXPECT_EQ(enforcement.absent()[0].reason, "Invalid argument");
  plan.fileBits = std::uint64_t{1} << 40;
  EXPECT_EQ(Enforcement(plan).prepare(),
            "cannot make a ruleset: Invalid argument; report this with the version of the kernel");
  plan = filesOnly();
  plan.ports = {{80, 1, 3}};
  EXPECT_EQ(Enforcement(plan).prepare(),
            "cannot make a rule for port 80 of line 3: Invalid argument; report this with the version of the kernel");
}

TEST(Enforcement, TellsWhatIsInForceWhenTheFilterIsRefused) {
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    Plan plan = filesOnly();
    // A jump beyond the end.
    plan.filter = {BPF_STMT(BPF_JMP | BPF_JA, 7), BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    Enforcement enforcement(plan);
    EXPECT_EQ(enforcement.prepare(), "");
    EXPECT_EQ(enforcement.enter(),
              "the filter of system calls is refused, and the rules for files, ports and other processes are in force: "
              "Invalid argument; report this with the version of the kernel");
    EXPECT_FALSE(canRead("/"));
    plan.fileBits = 0;
    EXPECT_EQ(Enforcement(plan).enter(),
              "the filter of system calls is refused: Invalid argument; report this with the version of the kernel");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::testing

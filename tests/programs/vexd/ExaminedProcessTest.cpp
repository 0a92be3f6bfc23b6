// SPDX-License-Identifier: Apache-2.0
#include "vexd/ExaminedProcess.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>

#include "programs/vexd/VexdFixture.h"
#include "support/Child.h"
#include "vexd/limits.h"

namespace vanto::testing {
namespace {

using vexd::ExaminedProcess;
using vexd::Failure;

Failure failureOf(int process) {
  vexd::Refusal refusal;
  EXPECT_FALSE(ExaminedProcess::open(process, refusal));
  EXPECT_NE(refusal.reason, "");
  return refusal.failure;
}

class ExaminedProcessTest : public ::testing::Test {
 protected:
  ExaminedProcessTest() { std::filesystem::copy_file("/bin/sleep", program_); }

  const test::TemporaryDirectory directory_;
  const std::string program_ = directory_ / "program";
};

TEST_F(ExaminedProcessTest, OpensWhatAProcessExecutes) {
  const Sleeper sleeper(program_);
  vexd::Refusal refusal;
  const auto process = ExaminedProcess::open(sleeper.process(), refusal);
  ASSERT_TRUE(process) << refusal.reason;
  struct stat status;
  ASSERT_EQ(stat(program_.c_str(), &status), 0);
  EXPECT_EQ(process->path, program_);
  EXPECT_EQ(process->inode, status.st_ino);
  EXPECT_EQ(process->device, status.st_dev);
  EXPECT_EQ(process->user, getuid());
  const Fd opened = vexd::openForReading(process->executable);
  ASSERT_EQ(fstat(opened.get(), &status), 0);
  EXPECT_EQ(process->inode, status.st_ino);
}

TEST_F(ExaminedProcessTest, KnowsNoPlaceForAFileThatWasReplaced) {
  const Sleeper sleeper(program_);
  std::filesystem::remove(program_);
  vexd::Refusal refusal;
  auto process = ExaminedProcess::open(sleeper.process(), refusal);
  ASSERT_TRUE(process) << refusal.reason;
  EXPECT_EQ(process->path, "");
  std::filesystem::copy_file("/bin/sleep", program_ + " (deleted)");
  process = ExaminedProcess::open(sleeper.process(), refusal);
  ASSERT_TRUE(process);
  EXPECT_EQ(process->path, "");
}

TEST_F(ExaminedProcessTest, RefusesWhoHasEnded) {
  Sleeper sleeper(program_);
  kill(sleeper.pid(), SIGKILL);
  siginfo_t information{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(sleeper.pid()), &information, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(failureOf(sleeper.process()), Failure::Gone);
  sleeper.end();
  EXPECT_EQ(failureOf(sleeper.process()), Failure::Gone);
}

TEST_F(ExaminedProcessTest, RefusesWhatIsNoProcess) {
  EXPECT_EQ(failureOf(openFile("/dev/null").get()), Failure::Unknown);
  EXPECT_EQ(failureOf(-1), Failure::Unknown);
}

TEST_F(ExaminedProcessTest, RefusesWhoIsTraced) {
  const Sleeper sleeper(program_);
  ASSERT_EQ(ptrace(PTRACE_SEIZE, sleeper.pid(), nullptr, nullptr), 0);
  EXPECT_EQ(failureOf(sleeper.process()), Failure::Traced);
}

TEST_F(ExaminedProcessTest, RefusesWhoIsInAnotherPidNamespace) {
  const WaitingProcess foreign([] { return unshare(CLONE_NEWUSER | CLONE_NEWPID) == 0; });
  if (foreign.pid() == 0) GTEST_SKIP() << "no user and pid namespaces may be made here";
  EXPECT_EQ(failureOf(foreign.process()), Failure::Unknown);
}

TEST_F(ExaminedProcessTest, RefusesWhoMayNotBeLookedAt) {
  const auto outcome = runInChild([](const ChildReport& report) {
    // Root may look at everything.
    if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) return report("still root");
    const WaitingProcess hidden([] { return prctl(PR_SET_DUMPABLE, 0) == 0; });
    report(failureOf(hidden.process()) == Failure::Hidden ? "hidden" : "seen");
  });
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{"hidden"}));
}

TEST_F(ExaminedProcessTest, RefusesExecutablesBeyondALimit) {
  for (const std::int64_t bytes : {vexd::limits::executableBytes, vexd::limits::executableBytes + 1}) {
    std::filesystem::resize_file(program_, static_cast<std::uintmax_t>(bytes));
    const Sleeper sleeper(program_);
    vexd::Refusal refusal;
    const auto process = ExaminedProcess::open(sleeper.process(), refusal);
    EXPECT_EQ(process.has_value(), bytes == vexd::limits::executableBytes);
    EXPECT_EQ(refusal.failure, process ? Failure::None : Failure::Hidden) << refusal.reason;
  }
}

/// What becomes of it when this process wants the kernel to say that it executes the file. "busy" for who may, as it
/// does execute something.
std::string outcomeOfNaming(int file) {
  constexpr std::size_t bytes = 16384;
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return "no memory";
  const auto place = reinterpret_cast<std::uintptr_t>(memory);
  const std::uint64_t code = place;
  const std::uint64_t data = place + 4096;
  const std::uint64_t heap = place + 8192;
  const std::uint64_t stack = place + 12288;
  prctl_mm_map map{code,  data,  data,  data + 1, heap,    heap, stack,
                   stack, stack, stack, stack,    nullptr, 0,    static_cast<std::uint32_t>(file)};
  errno = 0;
  if (prctl(PR_SET_MM, PR_SET_MM_MAP, &map, sizeof map, 0) == 0) return "named";
  return errno == EBUSY ? "busy" : errno == EACCES ? "refused" : std::strerror(errno);
}

TEST_F(ExaminedProcessTest, TheKernelNamesNoFileAsExecutedByWhoMayNotExecuteIt) {
  const auto outcomeFor = [this](std::filesystem::perms mode) {
    std::filesystem::permissions(program_, mode);
    return runInChild([this](const ChildReport& report) {
      const Fd file = openFile(program_);
      if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) return report("still root");
      // Whoever makes a user namespace may do there what only root may elsewhere.
      report(unshare(CLONE_NEWUSER) == 0 ? outcomeOfNaming(file.get()) : "no namespace");
    });
  };
  const std::vector<std::string> allowed = outcomeFor(std::filesystem::perms(0755)).lines;
  if (allowed == std::vector<std::string>{"no namespace"}) GTEST_SKIP() << "no user namespaces may be made here";
  EXPECT_EQ(allowed, (std::vector<std::string>{"busy"}));
  EXPECT_EQ(outcomeFor(std::filesystem::perms(0644)).lines, (std::vector<std::string>{"refused"}));
}

}  // namespace
}  // namespace vanto::testing

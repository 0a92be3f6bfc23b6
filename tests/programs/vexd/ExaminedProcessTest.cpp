// SPDX-License-Identifier: Apache-2.0
#include "vexd/ExaminedProcess.h"

#include <filesystem>

#include <sys/prctl.h>
#include <sys/ptrace.h>

#include "programs/vexd/VexdFixture.h"

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

}  // namespace
}  // namespace vanto::testing

// SPDX-License-Identifier: Apache-2.0
#include "vexd/ProcessState.h"

#include <filesystem>
#include <latch>
#include <thread>

#include <sys/ptrace.h>

#include "programs/vexd/VexdFixture.h"

namespace vanto::testing {
namespace {

using vexd::ProcessState;
using vexd::Tracing;

TEST(ProcessState, TellsOfAProcess) {
  const Sleeper sleeper("/bin/sleep");
  EXPECT_EQ(vexd::processOf(sleeper.process()), sleeper.pid());
  EXPECT_FALSE(vexd::hasEnded(sleeper.process()));
  const auto state = ProcessState::read(sleeper.pid());
  ASSERT_TRUE(state);
  EXPECT_EQ(state->user, getuid());
  EXPECT_EQ(state->tracing, Tracing::No);
}

TEST(ProcessState, SeesATracer) {
  const Sleeper sleeper("/bin/sleep");
  ASSERT_EQ(ptrace(PTRACE_SEIZE, sleeper.pid(), nullptr, nullptr), 0);
  EXPECT_EQ(ProcessState::read(sleeper.pid())->tracing, Tracing::Yes);
}

TEST(ProcessState, LooksAtEachThread) {
  std::latch isDone{1};
  std::thread thread([&isDone] { isDone.wait(); });
  const auto state = ProcessState::read(getpid());
  isDone.count_down();
  thread.join();
  ASSERT_TRUE(state);
  EXPECT_EQ(state->tracing, Tracing::No);
}

TEST(ProcessState, IsNoneOfWhoIsGone) {
  Sleeper sleeper("/bin/sleep");
  const pid_t pid = sleeper.pid();
  sleeper.end();
  EXPECT_TRUE(vexd::hasEnded(sleeper.process()));
  EXPECT_FALSE(ProcessState::read(pid));
  EXPECT_LT(vexd::processOf(sleeper.process()).value_or(0), 0);
}

TEST(ProcessState, NamesNoProcessByOtherDescriptors) {
  EXPECT_EQ(vexd::processOf(openFile("/dev/null").get()), std::nullopt);
  EXPECT_EQ(vexd::processOf(-1), std::nullopt);
}

TEST(ProcessIn, TakesTheProcessIdOutOfAText) {
  EXPECT_EQ(vexd::processIn("pos:\t0\nflags:\t02000002\nPid:\t42\nNSpid:\t42\n"), 42);
  EXPECT_EQ(vexd::processIn("NSpid:\t42\nPid:\t43\n"), 43);
  EXPECT_EQ(vexd::processIn("Pid:\t-1\n"), -1);
  EXPECT_EQ(vexd::processIn("pos:\t0\nPid:\t0\n"), 0);
  for (const char* text :
       {"", "pos:\t0\n", "NSpid:\t42\n", "Pid:\t\n", "Pid:\tx\n", "Pid:\t-2\n", "Pid:\t99999999999\n"}) {
    EXPECT_EQ(vexd::processIn(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace vanto::testing

// SPDX-License-Identifier: Apache-2.0
#include "vexd/ProcessState.h"

#include <filesystem>
#include <latch>
#include <numeric>
#include <thread>
#include <vector>

#include <grp.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ptrace.h>

#include "programs/vexd/VexdFixture.h"
#include "support/Child.h"
#include "vexd/limits.h"

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

/// Gives this process so many more threads, which wait. False when it may not have them.
bool addThreads(std::size_t count) {
  pthread_attr_t small;
  pthread_attr_init(&small);
  pthread_attr_setstacksize(&small, std::size_t{64} << 10);
  const auto wait = [](void*) -> void* {
    for (;;) pause();
  };
  bool isFine = true;
  for (std::size_t i = 0; i < count && isFine; ++i) {
    pthread_t thread;
    isFine = pthread_create(&thread, &small, wait, nullptr) == 0;
  }
  pthread_attr_destroy(&small);
  return isFine;
}

// The thread sanitizer lets no process have new threads that was made by one with several.
#ifndef __SANITIZE_THREAD__
TEST(ProcessState, SeesATracerOfAnyThread) {
  const WaitingProcess process([] { return true; }, [] { return addThreads(1); });
  ASSERT_EQ(ProcessState::read(process.pid())->tracing, Tracing::No);
  for (const auto& thread : std::filesystem::directory_iterator(vexd::directoryOf(process.pid()) + "/task")) {
    const pid_t id = std::stoi(thread.path().filename());
    if (id == process.pid()) continue;
    ASSERT_EQ(ptrace(PTRACE_SEIZE, id, nullptr, nullptr), 0);
  }
  EXPECT_EQ(ProcessState::read(process.pid())->tracing, Tracing::Yes);
}
#endif

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(ProcessState, LooksAtNoMoreThreadsThanItsLimit) {
  for (const std::size_t count : {vexd::limits::threads, vexd::limits::threads + 1}) {
    const WaitingProcess process([] { return true; }, [count] { return addThreads(count - 1); });
    if (process.pid() == 0) GTEST_SKIP() << "so many threads may not be made here";
    EXPECT_EQ(ProcessState::read(process.pid())->tracing,
              count == vexd::limits::threads ? Tracing::No : Tracing::Unknown);
  }
}
#endif

TEST(ProcessState, TellsOfAProcessWithManyGroups) {
  const auto outcome = runInChild([](const ChildReport& report) {
    std::vector<gid_t> groups(1000);
    std::iota(groups.begin(), groups.end(), 1'000'000'001);
    if (setgroups(groups.size(), groups.data()) != 0) return report("no groups");
    const auto state = ProcessState::read(getpid());
    report(state && state->tracing == Tracing::No && state->isInOwnNamespace ? "told" : "not told");
  });
  if (outcome.lines == std::vector<std::string>{"no groups"}) GTEST_SKIP() << "only root can join groups";
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{"told"}));
}

TEST(ProcessState, IsThatOfAForeignNamespaceWithMoreThanOneId) {
  const std::string text = "Name:\tNSpid: 1\nTracerPid:\t0\nUid:\t5\t6\nThreads:\t1\nNSpid:\t";
  EXPECT_TRUE(vexd::stateIn(text + "42\n")->isInOwnNamespace);
  EXPECT_FALSE(vexd::stateIn(text + "42\t1\n")->isInOwnNamespace);
  EXPECT_FALSE(vexd::stateIn(text + "42\t7\t1\nNSpgid:\t42\n")->isInOwnNamespace);
  EXPECT_EQ(vexd::stateIn(text + "42\n")->user, 5U);
  EXPECT_EQ(vexd::stateIn(text + "42\n")->tracing, Tracing::No);
  EXPECT_EQ(vexd::stateIn("Uid:\t5\nTracerPid:\t1\nThreads:\t2\n")->tracing, Tracing::Yes);
  EXPECT_EQ(vexd::stateIn("Uid:\t5\nTracerPid:\t0\nThreads:\t2\n")->tracing, Tracing::Unknown);
  // One of other ids than those of /proc is refused too.
  const WaitingProcess foreign([] { return unshare(CLONE_NEWUSER | CLONE_NEWPID) == 0; });
  if (foreign.pid() != 0) {
    EXPECT_FALSE(ProcessState::read(foreign.pid())->isInOwnNamespace);
  }
}

TEST(ProcessState, IsNoneWithoutAllOfItsLines) {
  for (const char* text : {"", "Uid:\t5\nTracerPid:\t0\n", "Uid:\t5\nThreads:\t1\n", "TracerPid:\t0\nThreads:\t1\n",
                           "Uid:\t\nTracerPid:\t0\nThreads:\t1\n"}) {
    EXPECT_FALSE(vexd::stateIn(text)) << text;
  }
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

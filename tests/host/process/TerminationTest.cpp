// SPDX-License-Identifier: Apache-2.0
#include "process/Termination.h"

#include <csignal>

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dispatch/Pool.h"
#include "support/Signal.h"

// In a forked child of a process with threads the thread sanitizer never calls a signal handler.
#if defined(__SANITIZE_THREAD__)
#define CHILDREN_HANDLE_SIGNALS 0
#elif defined(__has_feature)
#define CHILDREN_HANDLE_SIGNALS !__has_feature(thread_sanitizer)
#else
#define CHILDREN_HANDLE_SIGNALS 1
#endif

// A process is terminated once, so each of these tests has one of its own.

namespace {

using testing::ExitedWithCode;
using testing::KilledBySignal;
using vanto::testing::Signal;

void raiseSignal(void* signal) {
  static_cast<Signal*>(signal)->raise();
}

void awaitTermination(void (*function)(void*), void* context) {
  if (!vanto::onTermination(function, context)) _exit(9);
}

TEST(TerminationDeathTest, CallsEachFunctionOnAWorker) {
  EXPECT_EXIT(
      {
        static Signal first;
        static Signal second;
        awaitTermination(&raiseSignal, &first);
        awaitTermination(&raiseSignal, &second);
        kill(getpid(), SIGTERM);
        first.wait();
        second.wait();
        _exit(0);
      },
      ExitedWithCode(0), "");
}

TEST(TerminationDeathTest, CallsAFunctionOnce) {
  EXPECT_EXIT(
      {
        static Signal called;
        static int calls = 0;
        awaitTermination(
            [](void*) {
              ++calls;
              called.raise();
            },
            nullptr);
        kill(getpid(), SIGTERM);
        called.wait();
        kill(getpid(), SIGTERM);
        // Whoever comes late is told at once.
        static Signal late;
        awaitTermination(&raiseSignal, &late);
        late.wait();
        _exit(calls);
      },
      ExitedWithCode(1), "");
}

TEST(TerminationDeathTest, LeavesTheDefaultActionWithoutAFunction) {
  EXPECT_EXIT(
      {
        kill(getpid(), SIGTERM);
        pause();
      },
      KilledBySignal(SIGTERM), "");
}

TEST(TerminationDeathTest, LeavesAnActionOfTheProgramAlone) {
  EXPECT_EXIT(
      {
        std::signal(SIGTERM, [](int) { _exit(7); });
        awaitTermination([](void*) { _exit(1); }, nullptr);
        std::raise(SIGTERM);
      },
      ExitedWithCode(7), "");
}

TEST(TerminationDeathTest, LeavesAnIgnoredSignalIgnored) {
  EXPECT_EXIT(
      {
        std::signal(SIGTERM, SIG_IGN);
        awaitTermination([](void*) { _exit(1); }, nullptr);
        EXPECT_EQ(vanto::Pool::shared().workerCount(), 0U);
        std::raise(SIGTERM);
        struct sigaction action;
        sigaction(SIGTERM, nullptr, &action);
        _exit(action.sa_handler == SIG_IGN ? 7 : 1);
      },
      ExitedWithCode(7), "");
}

TEST(TerminationDeathTest, BlocksNoSignal) {
  EXPECT_EXIT(
      {
        awaitTermination([](void*) {}, nullptr);
        sigset_t set;
        sigprocmask(SIG_SETMASK, nullptr, &set);
        _exit(sigismember(&set, SIGTERM) == 0 ? 0 : 1);
      },
      ExitedWithCode(0), "");
}

TEST(TerminationDeathTest, DoesNotInterruptASystemCallForGood) {
  EXPECT_EXIT(
      {
        static int ends[2];
        if (pipe(ends) != 0) _exit(1);
        awaitTermination([](void*) { static_cast<void>(write(ends[1], "x", 1)); }, nullptr);
        kill(getpid(), SIGTERM);
        char byte;
        // Interrupted or not, the read goes on until there is something to read.
        _exit(read(ends[0], &byte, 1) == 1 ? 0 : 1);
      },
      ExitedWithCode(0), "");
}

#if CHILDREN_HANDLE_SIGNALS
TEST(TerminationDeathTest, EndsAForkedChildButNotItsParent) {
  EXPECT_EXIT(
      {
        awaitTermination([](void*) { _exit(1); }, nullptr);
        const pid_t child = fork();
        if (child == 0) {
          for (;;) pause();
        }
        kill(child, SIGTERM);
        int status = 0;
        waitpid(child, &status, 0);
        // Had the child's signal come to this process as well, it would have done so before this.
        static Signal called;
        const dispatch_queue_t queue = dispatch_queue_create("org.vanto.test", nullptr);
        dispatch_queue_submit(queue, &called, &raiseSignal);
        called.wait();
        _exit(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM ? 0 : 2);
      },
      ExitedWithCode(0), "");
}
#endif

TEST(TerminationDeathTest, CanBeTriedAgainWhenThereWasNoDescriptor) {
  EXPECT_EXIT(
      {
        static Signal called;
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        rlimit none = limit;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_NOFILE, &none);
        if (vanto::onTermination(&raiseSignal, &called)) _exit(1);
        setrlimit(RLIMIT_NOFILE, &limit);
        awaitTermination(&raiseSignal, &called);
        kill(getpid(), SIGTERM);
        called.wait();
        _exit(0);
      },
      ExitedWithCode(0), "");
}

TEST(TerminationDeathTest, LeavesTheDefaultActionToAnExecutedProgram) {
  EXPECT_EXIT(
      {
        awaitTermination([](void*) { _exit(1); }, nullptr);
        execl("/bin/sh", "sh", "-c", "kill -TERM $$; exit 3", nullptr);
      },
      KilledBySignal(SIGTERM), "");
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <barrier>
#include <csignal>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/dispatch.h>

namespace {

TEST(OnceGuard, RunsItsFunctionOnce) {
  dispatch_once_t guard = 0;
  int runs = 0;
  EXPECT_FALSE(dispatch_once_done(&guard));
  for (int round = 0; round < 3; ++round) dispatch_once(&guard, [&runs] { ++runs; });
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(guard, -1);
  EXPECT_TRUE(dispatch_once_done(&guard));
}

TEST(OnceGuard, HandsTheContextToAPlainFunction) {
  dispatch_once_t guard = 0;
  int runs = 0;
  const auto count = [](void* context) {
    ++*static_cast<int*>(context);
  };
  dispatch_once(&guard, &runs, count);
  dispatch_once(&guard, &runs, count);
  EXPECT_EQ(runs, 1);
}

int plainRuns = 0;

void runPlainly() {
  ++plainRuns;
}

TEST(OnceGuard, TakesCallablesThatHaveANameAndPlainFunctions) {
  int runs = 0;
  const auto constant = [&runs] {
    ++runs;
  };
  auto changing = [&runs, calls = 0]() mutable {
    runs += ++calls;
  };
  dispatch_once_t guards[] = {0, 0, 0};
  for (int round = 0; round < 2; ++round) {
    dispatch_once(&guards[0], constant);
    dispatch_once(&guards[1], changing);
    dispatch_once(&guards[2], runPlainly);
  }
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(plainRuns, 1);
}

TEST(OnceGuard, ThatIsMarkedDoneNeverRuns) {
  dispatch_once_t guard = -1;
  bool hasRun = false;
  dispatch_once(&guard, [&hasRun] { hasRun = true; });
  dispatch_once(&guard, &hasRun, [](void* context) { *static_cast<bool*>(context) = true; });
  EXPECT_FALSE(hasRun);
}

TEST(OnceGuard, MayBeEnteredFromTheFunctionOfAnother) {
  dispatch_once_t outer = 0;
  dispatch_once_t inner = 0;
  int runs = 0;
  dispatch_once(&outer, [&] { dispatch_once(&inner, [&runs] { ++runs; }); });
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(outer, -1);
  EXPECT_EQ(inner, -1);
}

TEST(OnceGuard, LetsEightThreadsSeeWhatOneOfThemDid) {
  constexpr int threadCount = 8;
  for (int round = 0; round < 300; ++round) {
    dispatch_once_t guard = 0;
    int value = 0;
    std::atomic<int> sum = 0;
    std::barrier start(threadCount);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        dispatch_once(&guard, [&value] {
          std::this_thread::yield();
          ++value;
        });
        sum += value;
      });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(sum, threadCount);
    ASSERT_EQ(guard, -1);
  }
}

TEST(OnceGuard, WakesThreadsThatSleepOnIt) {
  constexpr int waiterCount = 7;
  dispatch_once_t guard = 0;
  std::atomic<bool> isRunning = false;
  std::atomic<bool> mayFinish = false;
  bool isDone = false;
  std::thread runner([&] {
    dispatch_once(&guard, [&] {
      isRunning = true;
      isRunning.notify_all();
      mayFinish.wait(false);
      isDone = true;
    });
  });
  isRunning.wait(false);
  std::atomic<int> released = 0;
  std::vector<std::thread> waiters;
  for (int index = 0; index < waiterCount; ++index) {
    waiters.emplace_back([&] {
      dispatch_once(&guard, [] { FAIL() << "ran twice"; });
      if (isDone) ++released;
    });
  }
  // The guard changes once more when the first of them is about to sleep.
  const dispatch_once_t running = __atomic_load_n(&guard, __ATOMIC_ACQUIRE) & ~(dispatch_once_t{1} << 30);
  while (__atomic_load_n(&guard, __ATOMIC_ACQUIRE) == running) std::this_thread::yield();
  EXPECT_FALSE(dispatch_once_done(&guard));
  EXPECT_EQ(released, 0);
  mayFinish = true;
  mayFinish.notify_all();
  runner.join();
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(released, waiterCount);
}

dispatch_once_t reentered = 0;

TEST(OnceGuardDeathTest, RefusesToBeEnteredFromItsOwnFunction) {
  EXPECT_DEATH(dispatch_once(&reentered, [] { dispatch_once(&reentered, [] {}); }),
               "function dispatch_once, file OnceGuard.cpp");
}

TEST(OnceGuardDeathTest, EndsTheProcessWhenItsFunctionThrows) {
  dispatch_once_t guard = 0;
  EXPECT_EXIT(dispatch_once(&guard, [] { throw std::runtime_error("thrown inside"); }),
              testing::KilledBySignal(SIGABRT), "thrown inside");
}

}  // namespace

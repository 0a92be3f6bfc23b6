// SPDX-License-Identifier: Apache-2.0
#include <VantoService/KorRunLoop.h>

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/PlistString.h>

#include "support/Signal.h"
#include "value/platform/dispatch.h"

namespace {

using vanto::testing::Signal;

/// A thread that runs its loop, and what it does before and after.
class LoopThread {
 public:
  explicit LoopThread(void (*run)() = &KorRunLoopRun) {
    thread_ = std::thread([this, run] {
      loop_ = KorRunLoopGetCurrent();
      started_.raise();
      run();
      ended_ = true;
    });
    started_.wait();
  }
  ~LoopThread() { EXPECT_FALSE(thread_.joinable()); }

  template <typename Function>
  void perform(Function& function) {
    KorRunLoopPerform(loop_, &function, [](void* context) { (*static_cast<Function*>(context))(); });
  }
  void stop() { KorRunLoopStop(loop_); }
  void join() { thread_.join(); }
  [[nodiscard]] KorRunLoop* loop() const { return loop_; }
  [[nodiscard]] bool hasEnded() const { return ended_; }

 private:
  Signal started_;
  KorRunLoop* loop_ = nullptr;
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

TEST(RunLoop, IsOneForEachThread) {
  LoopThread one;
  LoopThread other;
  EXPECT_NE(one.loop(), nullptr);
  EXPECT_NE(one.loop(), other.loop());
  KorRunLoop* seen = nullptr;
  auto look = [&] {
    seen = KorRunLoopGetCurrent();
    one.stop();
  };
  one.perform(look);
  one.join();
  EXPECT_EQ(seen, one.loop());
  other.stop();
  other.join();
}

TEST(RunLoop, IsTheSameUnderBothNames) {
  LoopThread thread([] {
    EXPECT_EQ(static_cast<void*>(QelRunLoopCurrentRunLoop()), static_cast<void*>(KorRunLoopGetCurrent()));
    QelRunLoopRun(QelRunLoopCurrentRunLoop());
  });
  Signal performed;
  auto function = [&] {
    performed.raise();
  };
  thread.perform(function);
  performed.wait();
  thread.stop();
  thread.join();
}

TEST(RunLoop, PerformsInOrderOnItsOwnThread) {
  LoopThread thread;
  std::vector<int> order;
  std::thread::id performer;
  auto first = [&] {
    performer = std::this_thread::get_id();
    order.push_back(1);
  };
  auto second = [&] {
    order.push_back(2);
  };
  auto last = [&] {
    order.push_back(3);
    thread.stop();
  };
  thread.perform(first);
  thread.perform(second);
  thread.perform(last);
  thread.join();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_NE(performer, std::this_thread::get_id());
}

TEST(RunLoop, EndsAtOnceWhenItWasStoppedBefore) {
  bool hasRun = false;
  std::thread thread([&] {
    KorRunLoopStop(KorRunLoopGetCurrent());
    // Two stops are one.
    KorRunLoopStop(KorRunLoopGetCurrent());
    KorRunLoopPerform(KorRunLoopGetCurrent(), &hasRun, [](void* context) { *static_cast<bool*>(context) = true; });
    KorRunLoopRun();
    EXPECT_FALSE(hasRun);
    // The stop is used up, what was handed over is not.
    KorRunLoopPerform(KorRunLoopGetCurrent(), nullptr, [](void*) { KorRunLoopStop(KorRunLoopGetCurrent()); });
    KorRunLoopRun();
    EXPECT_TRUE(hasRun);
  });
  thread.join();
}

TEST(RunLoop, EndsOnlyItsInnermostRun) {
  std::vector<int> order;
  LoopThread thread;
  auto nested = [&] {
    order.push_back(1);
    KorRunLoopRun();
    order.push_back(3);
  };
  auto stopNested = [&] {
    order.push_back(2);
    thread.stop();
  };
  Signal performed;
  auto after = [&] {
    performed.raise();
  };
  thread.perform(nested);
  thread.perform(stopNested);
  thread.perform(after);
  performed.wait();
  EXPECT_FALSE(thread.hasEnded());
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  thread.stop();
  thread.join();
}

TEST(RunLoop, OpensATemporaryScopeForEachFunction) {
  const vanto::Ref<PlistString> text = PlistString::create("kept alive by this test");
  LoopThread thread;
  Signal next;
  std::uint32_t inside = 0;
  std::uint32_t behind = 0;
  auto use = [&] {
    static_cast<void>(vanto::Ref<PlistString>(text).asTemporary());
    inside = text->referenceCount();
  };
  auto look = [&] {
    behind = text->referenceCount();
    next.raise();
  };
  thread.perform(use);
  thread.perform(look);
  next.wait();
  EXPECT_EQ(inside, 2U);
  EXPECT_EQ(behind, 1U);
  thread.stop();
  thread.join();
}

TEST(RunLoop, DropsWhatItNeverPerformed) {
  std::thread thread([] {
    KorRunLoopPerform(KorRunLoopGetCurrent(), nullptr, [](void*) { ADD_FAILURE(); });
    KorRunLoopPerform(KorRunLoopGetCurrent(), nullptr, [](void*) { ADD_FAILURE(); });
  });
  thread.join();
}

TEST(RunLoop, TakesFunctionsFromManyThreads) {
  LoopThread thread;
  constexpr int threadCount = 4;
  constexpr int perThread = 2'000;
  int performed = 0;
  auto function = [&] {
    if (++performed == threadCount * perThread) thread.stop();
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < perThread; ++n) thread.perform(function);
    });
  }
  for (std::thread& submitter : threads) submitter.join();
  thread.join();
  EXPECT_EQ(performed, threadCount * perThread);
}

TEST(RunLoopDeathTest, EndsTheProcessWhenAThreadRunsTheLoopOfAnother) {
  EXPECT_EXIT(
      {
        LoopThread thread;
        QelRunLoopRun(reinterpret_cast<QelRunLoop*>(thread.loop()));
      },
      testing::KilledBySignal(SIGABRT), "");
}

}  // namespace

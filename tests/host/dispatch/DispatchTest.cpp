// SPDX-License-Identifier: Apache-2.0
#include <VantoService/dispatch.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <VantoService/Object.h>
#include <VantoService/PlistString.h>

#include "dispatch/Queue.h"
#include "dispatch/Workers.h"
#include "support/Signal.h"

namespace {

using vanto::testing::Signal;

/// A queue for one test.
class DispatchQueue : public testing::Test {
 protected:
  ~DispatchQueue() override { dispatch_queue_release(queue_); }

  template <typename Function>
  void submit(Function& function) {
    dispatch_queue_submit(queue_, &function, [](void* context) { (*static_cast<Function*>(context))(); });
  }
  template <typename Function>
  void submitAndWait(Function& function) {
    dispatch_queue_submit_and_wait(queue_, &function, [](void* context) { (*static_cast<Function*>(context))(); });
  }
  template <typename Function>
  void runOnQueue(Function& function) {
    vanto::runOnQueue(queue_, &function, [](void* context) { (*static_cast<Function*>(context))(); });
  }
  /// Returns when all items submitted before have run.
  void drain() {
    Signal drained;
    auto item = [&] {
      drained.raise();
    };
    submit(item);
    drained.wait();
  }

  dispatch_queue_t queue_ = dispatch_queue_create("org.vanto.test", nullptr);
};

TEST_F(DispatchQueue, KeepsACopyOfItsLabel) {
  char label[] = "org.vanto.label";
  const dispatch_queue_t queue = dispatch_queue_create(label, nullptr);
  label[0] = 'X';
  EXPECT_STREQ(dispatch_queue_label(queue), "org.vanto.label");
  dispatch_queue_release(queue);
}

TEST_F(DispatchQueue, IsNotMadeWithoutALabel) {
  EXPECT_EQ(dispatch_queue_create(nullptr, nullptr), nullptr);
}

TEST_F(DispatchQueue, RetainsAndReleasesNothingForNull) {
  dispatch_queue_retain(nullptr);
  dispatch_queue_release(nullptr);
  dispatch_queue_retain(queue_);
  EXPECT_EQ(queue_->referenceCount(), 2U);
  dispatch_queue_release(queue_);
  EXPECT_EQ(queue_->referenceCount(), 1U);
}

TEST_F(DispatchQueue, RunsItemsInTheOrderOfTheirArrival) {
  constexpr int count = 10'000;
  struct Item {
    std::vector<int>* seen;
    int number;
  };
  std::vector<int> seen;
  std::vector<Item> items(count);
  for (int i = 0; i < count; ++i) {
    items[static_cast<std::size_t>(i)] = {&seen, i};
    dispatch_queue_submit(queue_, &items[static_cast<std::size_t>(i)], [](void* context) {
      auto* const item = static_cast<Item*>(context);
      item->seen->push_back(item->number);
    });
  }
  drain();
  ASSERT_EQ(seen.size(), std::size_t{count});
  for (int i = 0; i < count; ++i) EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
}

TEST_F(DispatchQueue, RunsOneItemAtATimeForEightSubmittingThreads) {
  constexpr int threadCount = 8;
  constexpr int itemsPerThread = 5'000;
  struct Submitter {
    int* total;
    std::atomic<int>* running;
    int last = -1;
    bool isInOrder = true;
    bool isAlone = true;
  };
  struct Item {
    Submitter* submitter;
    int number;
  };
  int total = 0;
  std::atomic<int> running{0};
  std::vector<Submitter> submitters(threadCount, Submitter{&total, &running});
  std::vector<std::vector<Item>> items(threadCount);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < threadCount; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < itemsPerThread; ++i) items[t].push_back({&submitters[t], i});
      for (Item& item : items[t]) {
        auto function = [](void* context) {
          const auto& own = *static_cast<Item*>(context);
          Submitter& submitter = *own.submitter;
          submitter.isAlone &= submitter.running->fetch_add(1) == 0;
          submitter.isInOrder &= own.number == submitter.last + 1;
          submitter.last = own.number;
          ++*submitter.total;
          submitter.running->fetch_sub(1);
        };
        switch (item.number % 3) {
          case 0:
            dispatch_queue_submit(queue_, &item, function);
            break;
          case 1:
            dispatch_queue_submit_and_wait(queue_, &item, function);
            break;
          default:
            vanto::runOnQueue(queue_, &item, function);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  drain();
  EXPECT_EQ(total, threadCount * itemsPerThread);
  for (const Submitter& submitter : submitters) {
    EXPECT_TRUE(submitter.isAlone);
    EXPECT_TRUE(submitter.isInOrder);
  }
}

TEST_F(DispatchQueue, RunsAnItemAtOnceWhenItIsIdle) {
  std::thread::id runner;
  auto item = [&] {
    runner = std::this_thread::get_id();
  };
  runOnQueue(item);
  EXPECT_EQ(runner, std::this_thread::get_id());
}

TEST_F(DispatchQueue, RunsNothingAtOnceInsideAnotherItem) {
  const dispatch_queue_t other = dispatch_queue_create("org.vanto.test.other", nullptr);
  bool ranInside = false;
  Signal ran;
  auto inner = [&] {
    ran.raise();
  };
  auto outer = [&] {
    vanto::runOnQueue(other, &inner, [](void* context) { (*static_cast<decltype(inner)*>(context))(); });
    ranInside = dispatch_queue_s::isAnyRunningHere() && other->isRunningHere();
  };
  runOnQueue(outer);
  ran.wait();
  EXPECT_FALSE(ranInside);
  dispatch_queue_release(other);
}

TEST_F(DispatchQueue, KeepsItemsBackWhileOneRunsAtOnce) {
  Signal entered;
  Signal leave;
  std::atomic<bool> isInside{false};
  bool overlapped = false;
  auto blocking = [&] {
    isInside = true;
    entered.raise();
    leave.wait();
    isInside = false;
  };
  std::thread runner([&] { runOnQueue(blocking); });
  entered.wait();
  auto later = [&] {
    overlapped = isInside;
  };
  runOnQueue(later);
  submit(later);
  leave.raise();
  runner.join();
  drain();
  EXPECT_FALSE(overlapped);
}

TEST_F(DispatchQueue, WaitsForASubmittedItemOfABusyQueue) {
  Signal entered;
  Signal leave;
  bool first = false;
  bool second = false;
  auto blocking = [&] {
    entered.raise();
    leave.wait();
    first = true;
  };
  submit(blocking);
  entered.wait();
  leave.raise();
  auto item = [&] {
    second = first;
  };
  submitAndWait(item);
  EXPECT_TRUE(second);
}

TEST_F(DispatchQueue, WaitsOnAnotherQueueFromInsideAnItem) {
  const dispatch_queue_t other = dispatch_queue_create("org.vanto.test.other", nullptr);
  Signal entered;
  Signal leave;
  auto blocking = [&] {
    entered.raise();
    leave.wait();
  };
  dispatch_queue_submit(other, &blocking, [](void* context) { (*static_cast<decltype(blocking)*>(context))(); });
  entered.wait();
  bool ran = false;
  auto inner = [&] {
    ran = true;
  };
  auto outer = [&] {
    leave.raise();
    dispatch_queue_submit_and_wait(other, &inner, [](void* context) { (*static_cast<decltype(inner)*>(context))(); });
  };
  submitAndWait(outer);
  EXPECT_TRUE(ran);
  dispatch_queue_release(other);
}

TEST_F(DispatchQueue, LivesUntilItsItemsHaveRun) {
  const dispatch_queue_t queue = dispatch_queue_create("org.vanto.test.short", nullptr);
  Signal entered;
  Signal leave;
  Signal ran;
  auto blocking = [&] {
    entered.raise();
    leave.wait();
  };
  auto last = [&] {
    ran.raise();
  };
  dispatch_queue_submit(queue, &blocking, [](void* context) { (*static_cast<decltype(blocking)*>(context))(); });
  entered.wait();
  dispatch_queue_submit(queue, &last, [](void* context) { (*static_cast<decltype(last)*>(context))(); });
  dispatch_queue_release(queue);
  leave.raise();
  ran.wait();
}

TEST_F(DispatchQueue, MayBeReleasedByItsOwnItem) {
  dispatch_queue_t queue = dispatch_queue_create("org.vanto.test.short", nullptr);
  vanto::runOnQueue(queue, queue,
                    [](void* context) { dispatch_queue_release(static_cast<dispatch_queue_t>(context)); });
}

TEST_F(DispatchQueue, OpensATemporaryScopeForEachItem) {
  const vanto::Ref<PlistString> text = PlistString::create("kept alive by this test");
  std::uint32_t inside = 0;
  auto item = [&] {
    static_cast<void>(vanto::Ref<PlistString>(text).asTemporary());
    inside = text->referenceCount();
  };
  submitAndWait(item);
  EXPECT_EQ(inside, 2U);
  EXPECT_EQ(text->referenceCount(), 1U);
  submit(item);
  drain();
  EXPECT_EQ(inside, 2U);
  EXPECT_EQ(text->referenceCount(), 1U);
}

TEST_F(DispatchQueue, LetsOtherQueuesHaveTheirTurn) {
  // An endless chain of items on one queue must not keep another from running.
  const dispatch_queue_t endless = dispatch_queue_create("org.vanto.test.endless", nullptr);
  struct Chain {
    dispatch_queue_t queue;
    std::atomic<bool> isOver{false};
    Signal ended;
    static void run(void* context) {
      auto& chain = *static_cast<Chain*>(context);
      if (chain.isOver) return chain.ended.raise();
      dispatch_queue_submit(chain.queue, &chain, &run);
    }
  };
  std::vector<Chain> chains(8);
  for (Chain& chain : chains) {
    chain.queue = endless;
    dispatch_queue_submit(endless, &chain, &Chain::run);
  }
  drain();
  for (Chain& chain : chains) chain.isOver = true;
  for (Chain& chain : chains) chain.ended.wait();
  dispatch_queue_release(endless);
}

using DispatchQueueDeathTest = DispatchQueue;

TEST_F(DispatchQueueDeathTest, EndsTheProcessWhenAnItemWaitsForItsOwnQueue) {
  auto inner = [] {
  };
  auto outer = [&] {
    submitAndWait(inner);
  };
  EXPECT_DEATH(runOnQueue(outer), "");
}

TEST_F(DispatchQueueDeathTest, EndsTheProcessWhenAnItemThrows) {
  auto item = [] {
    throw 1;
  };
  EXPECT_EXIT(
      {
        submit(item);
        for (;;) pause();
      },
      testing::KilledBySignal(SIGABRT), "");
}

TEST_F(DispatchQueueDeathTest, EndsTheProcessWhenAttributesAreGiven) {
  const int attributes = 0;
  EXPECT_EXIT(static_cast<void>(dispatch_queue_create("org.vanto.test", &attributes)), testing::KilledBySignal(SIGABRT),
              "");
}

}  // namespace

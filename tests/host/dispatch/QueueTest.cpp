// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Queue.h"

#include <vector>

#include <gtest/gtest.h>

#include "dispatch/RunnableQueues.h"
#include "value/Memory.h"

namespace {

using vanto::WorkItem;

/// A queue whose owner is the test, so that no worker takes part.
class OwnedQueue : public testing::Test {
 protected:
  void add(int number, bool expectIdle) {
    void* const memory = vanto::Memory::allocate(sizeof(WorkItem));
    struct Context {
      OwnedQueue* test;
      int number;
    };
    auto* const context = ::new (vanto::Memory::allocate(sizeof(Context))) Context{this, number};
    auto* const item = ::new (memory) WorkItem{[](void* pointer) {
                                                 auto* const own = static_cast<Context*>(pointer);
                                                 own->test->seen_.push_back(own->number);
                                                 vanto::Memory::free(own);
                                               },
                                               context, nullptr, nullptr};
    EXPECT_EQ(queue_->add(*item), expectIdle);
  }

  const vanto::Ref<dispatch_queue_s> queue_ = dispatch_queue_s::create("org.vanto.test");
  std::vector<int> seen_;
};

TEST_F(OwnedQueue, IsOwnedByOneAtATime) {
  EXPECT_TRUE(queue_->tryOwn());
  EXPECT_FALSE(queue_->tryOwn());
  EXPECT_TRUE(queue_->tryDisown());
  EXPECT_TRUE(queue_->tryOwn());
  EXPECT_TRUE(queue_->tryDisown());
}

TEST_F(OwnedQueue, HoldsAReferenceToItselfWhileItIsOwned) {
  EXPECT_TRUE(queue_->tryOwn());
  EXPECT_EQ(queue_->referenceCount(), 2U);
  EXPECT_TRUE(queue_->tryDisown());
  EXPECT_EQ(queue_->referenceCount(), 1U);
}

TEST_F(OwnedQueue, MakesWhoAddsTheFirstItemItsOwner) {
  add(1, true);
  add(2, false);
  EXPECT_FALSE(queue_->tryOwn());
  EXPECT_FALSE(queue_->tryDisown());
  EXPECT_TRUE(queue_->runTurn());
  EXPECT_EQ(seen_, (std::vector<int>{1, 2}));
  EXPECT_EQ(queue_->referenceCount(), 1U);
}

TEST_F(OwnedQueue, EndsATurnAfterSoManyItems) {
  for (int i = 0; i < 100; ++i) add(i, i == 0);
  EXPECT_FALSE(queue_->runTurn());
  EXPECT_LT(seen_.size(), 100U);
  // What comes between the turns comes last.
  add(100, false);
  EXPECT_TRUE(queue_->runTurn());
  ASSERT_EQ(seen_.size(), 101U);
  for (int i = 0; i <= 100; ++i) EXPECT_EQ(seen_[static_cast<std::size_t>(i)], i);
}

TEST_F(OwnedQueue, TellsTheThreadThatWaitsForAnItem) {
  std::atomic<std::uint32_t> finished{0};
  WorkItem item{[](void*) {}, nullptr, &finished, nullptr};
  EXPECT_TRUE(queue_->add(item));
  EXPECT_TRUE(queue_->runTurn());
  EXPECT_EQ(finished.load(), 1U);
}

TEST_F(OwnedQueue, KnowsOnWhichQueuesItsThreadRuns) {
  const vanto::Ref<dispatch_queue_s> inner = dispatch_queue_s::create("org.vanto.test.inner");
  struct Context {
    dispatch_queue_s* outer;
    dispatch_queue_s* inner;
  } context{queue_.get(), inner.get()};
  EXPECT_FALSE(dispatch_queue_s::isAnyRunningHere());
  queue_->run(&context, [](void* outerContext) {
    const auto& queues = *static_cast<Context*>(outerContext);
    EXPECT_TRUE(queues.outer->isRunningHere());
    EXPECT_FALSE(queues.inner->isRunningHere());
    queues.inner->run(outerContext, [](void* innerContext) {
      EXPECT_TRUE(static_cast<Context*>(innerContext)->outer->isRunningHere());
      EXPECT_TRUE(static_cast<Context*>(innerContext)->inner->isRunningHere());
    });
    EXPECT_TRUE(dispatch_queue_s::isAnyRunningHere());
  });
  EXPECT_FALSE(dispatch_queue_s::isAnyRunningHere());
}

TEST(RunnableQueues, AreTakenInTheOrderOfTheirArrival) {
  vanto::RunnableQueues list;
  const vanto::Ref<dispatch_queue_s> one = dispatch_queue_s::create("one");
  const vanto::Ref<dispatch_queue_s> two = dispatch_queue_s::create("two");
  EXPECT_EQ(list.takeFirst(), nullptr);
  EXPECT_TRUE(list.append(*one));
  EXPECT_FALSE(list.append(*two));
  EXPECT_FALSE(list.isEmpty());
  EXPECT_EQ(list.takeFirst(), one.get());
  EXPECT_FALSE(list.append(*one));
  EXPECT_EQ(list.takeFirst(), two.get());
  EXPECT_EQ(list.takeFirst(), one.get());
  EXPECT_TRUE(list.isEmpty());
  EXPECT_EQ(list.takeFirst(), nullptr);
}

}  // namespace

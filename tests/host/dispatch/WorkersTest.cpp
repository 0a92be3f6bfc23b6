// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Workers.h"

#include <atomic>
#include <cerrno>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <VantoService/PlistString.h>

#include "host/dispatch/Watching.h"
#include "support/Signal.h"

namespace {

using vanto::Ref;
using vanto::testing::Signal;
using vanto::testing::Sockets;
using vanto::testing::Watching;

constexpr std::uint64_t millisecond = 1'000'000;

/// Something watched, and its descriptor, until the end of a test.
class Watch {
 public:
  explicit Watch(Watching::Function function) : object_(Watching::create(std::move(function))) {
    EXPECT_TRUE(vanto::startWatching(*object_, sockets_.near(), EPOLLIN | EPOLLET));
  }
  ~Watch() { stop(); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  [[nodiscard]] Watching& object() const { return *object_; }
  [[nodiscard]] const Sockets& sockets() const { return sockets_; }
  void stop() const { vanto::stopWatching(*object_, sockets_.near()); }

 private:
  const Sockets sockets_;
  const Ref<Watching> object_;
};

/// Handlers that are called and do not return before this ends.
class BlockedHandlers {
 public:
  explicit BlockedHandlers(int count) {
    for (int i = 0; i < count; ++i) {
      watches_.emplace_back([this](std::uint32_t) {
        entered_.raise();
        leave_.wait();
        left_.raise();
      });
      watches_.back().sockets().send();
      entered_.wait();
    }
  }
  ~BlockedHandlers() {
    for (std::size_t i = 0; i < watches_.size(); ++i) leave_.raise();
    for (std::size_t i = 0; i < watches_.size(); ++i) left_.wait();
  }
  BlockedHandlers(const BlockedHandlers&) = delete;
  BlockedHandlers& operator=(const BlockedHandlers&) = delete;

 private:
  Signal entered_;
  Signal leave_;
  Signal left_;
  std::list<Watch> watches_;
};

TEST(Workers, CallAnObjectWhoseDescriptorBecomesReadable) {
  Signal ready;
  std::atomic<std::uint32_t> seen{0};
  const Watch watch([&](std::uint32_t events) {
    seen = events;
    ready.raise();
  });
  for (int i = 0; i < 100; ++i) {
    watch.sockets().send();
    ready.wait();
    EXPECT_NE(seen & EPOLLIN, 0U);
    EXPECT_EQ(watch.sockets().receiveAll(), 1);
  }
}

TEST(Workers, CallAnObjectWhoseDescriptorWasReadableBefore) {
  const Sockets sockets;
  sockets.send();
  Signal ready;
  const Ref<Watching> object = Watching::create([&](std::uint32_t) { ready.raise(); });
  ASSERT_TRUE(vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET));
  ready.wait();
  vanto::stopWatching(*object, sockets.near());
}

TEST(Workers, RefuseADescriptorThatCannotBeWatched) {
  const Ref<Watching> object = Watching::create([](std::uint32_t) {});
  errno = 0;
  EXPECT_FALSE(vanto::startWatching(*object, -1, EPOLLIN | EPOLLET));
  EXPECT_EQ(errno, EBADF);
  const vanto::Fd file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(vanto::startWatching(*object, file.get(), EPOLLIN | EPOLLET));
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(object->referenceCount(), 1U);
}

TEST(Workers, HoldAReferenceToWhatTheyWatch) {
  const Sockets sockets;
  const Ref<Watching> object = Watching::create([](std::uint32_t) {});
  ASSERT_TRUE(vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET));
  EXPECT_EQ(object->referenceCount(), 2U);
  vanto::stopWatching(*object, sockets.near());
  EXPECT_EQ(object->referenceCount(), 1U);
}

TEST(Workers, DoNothingForAnObjectThatIsNotWatched) {
  const Sockets sockets;
  const Ref<Watching> object = Watching::create([](std::uint32_t) { ADD_FAILURE(); });
  vanto::setTimer(*object, 1);
  vanto::stopWatching(*object, sockets.near());
  EXPECT_EQ(object->referenceCount(), 1U);
}

TEST(Workers, DoNotCallAnObjectAfterItWasStopped) {
  const Watch stopped([](std::uint32_t) { ADD_FAILURE(); });
  stopped.stop();
  stopped.sockets().send();
  Signal ready;
  const Watch other([&](std::uint32_t) { ready.raise(); });
  other.sockets().send();
  ready.wait();
}

TEST(Workers, WatchAnObjectAgainAfterItWasStopped) {
  Signal ready;
  const Watch watch([&](std::uint32_t) { ready.raise(); });
  watch.stop();
  ASSERT_TRUE(vanto::startWatching(watch.object(), watch.sockets().near(), EPOLLIN | EPOLLET));
  watch.sockets().send();
  ready.wait();
}

TEST(Workers, KeepAStoppedObjectUntilItsCallReturns) {
  const Sockets sockets;
  Signal entered;
  Signal leave;
  Signal gone;
  // Given up when the function is destroyed, which is when the object is.
  const std::shared_ptr<void> token(nullptr, [&](void*) { gone.raise(); });
  Ref<Watching> object = Watching::create([&, held = std::shared_ptr<void>(token)](std::uint32_t) {
    entered.raise();
    leave.wait();
    EXPECT_EQ(held.use_count(), 2);
  });
  ASSERT_TRUE(vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET));
  sockets.send();
  entered.wait();
  vanto::stopWatching(*object, sockets.near());
  object = nullptr;
  EXPECT_EQ(token.use_count(), 2);
  leave.raise();
  while (token.use_count() != 1) std::this_thread::yield();
}

TEST(Workers, ServeOthersWhileHandlersBlock) {
  const BlockedHandlers blocked(20);
  Signal ready;
  const Watch other([&](std::uint32_t) { ready.raise(); });
  for (int i = 0; i < 10; ++i) {
    other.sockets().send();
    ready.wait();
  }
}

TEST(Workers, RunQueuesWhileHandlersBlock) {
  const BlockedHandlers blocked(10);
  const dispatch_queue_t queue = dispatch_queue_create("org.vanto.test", nullptr);
  Signal ran;
  dispatch_queue_submit(queue, &ran, [](void* context) { static_cast<Signal*>(context)->raise(); });
  ran.wait();
  dispatch_queue_release(queue);
}

TEST(Workers, LetAHandlerWaitForAQueueThatNobodyServesYet) {
  const dispatch_queue_t queue = dispatch_queue_create("org.vanto.test", nullptr);
  Signal done;
  int order = 0;
  const Watch watch([&](std::uint32_t) {
    dispatch_queue_submit(queue, &order, [](void* context) { ++*static_cast<int*>(context); });
    dispatch_queue_submit_and_wait(queue, &order, [](void* context) { *static_cast<int*>(context) *= 10; });
    done.raise();
  });
  watch.sockets().send();
  done.wait();
  EXPECT_EQ(order, 10);
  dispatch_queue_release(queue);
}

TEST(Workers, RunAWorkItemOnTheThreadThatReadTheMessage) {
  struct Context {
    dispatch_queue_t queue = dispatch_queue_create("org.vanto.test", nullptr);
    std::thread::id reader;
    std::thread::id runner;
    Signal done;
  } context;
  const Watch watch([&](std::uint32_t) {
    context.reader = std::this_thread::get_id();
    vanto::runOnQueue(context.queue, &context, [](void* pointer) {
      auto& own = *static_cast<Context*>(pointer);
      own.runner = std::this_thread::get_id();
      own.done.raise();
    });
  });
  watch.sockets().send();
  context.done.wait();
  EXPECT_EQ(context.reader, context.runner);
  EXPECT_NE(context.runner, std::this_thread::get_id());
  dispatch_queue_release(context.queue);
}

TEST(Workers, OpenATemporaryScopeForEachCall) {
  const Ref<PlistString> text = PlistString::create("kept alive by this test");
  Signal ready;
  const Watch watch([&](std::uint32_t) {
    static_cast<void>(Ref<PlistString>(text).asTemporary());
    ready.raise();
  });
  watch.sockets().send();
  ready.wait();
  while (text->referenceCount() != 1) std::this_thread::yield();
}

TEST(Workers, CallAnObjectOnceWhenItsTimerExpires) {
  Signal expired;
  std::atomic<std::uint64_t> calledAt{0};
  const Watch watch([&](std::uint32_t events) {
    EXPECT_EQ(events, 0U);
    calledAt = vanto::monotonicNow();
    expired.raise();
  });
  for (int i = 0; i < 20; ++i) {
    const std::uint64_t deadline = vanto::deadlineAfter(millisecond / 4);
    vanto::setTimer(watch.object(), deadline);
    expired.wait();
    EXPECT_GE(calledAt, deadline);
  }
  vanto::setTimer(watch.object(), 0);
  expired.wait();
}

TEST(Workers, CallTheObjectWhoseDeadlineMovedToTheFront) {
  std::mutex mutex;
  std::vector<int> order;
  Signal expired;
  std::list<Watch> watches;
  for (int i = 0; i < 8; ++i) {
    watches.emplace_back([&, i](std::uint32_t) {
      {
        const std::lock_guard lock(mutex);
        order.push_back(i);
      }
      expired.raise();
    });
  }
  const std::uint64_t far = vanto::deadlineAfter(3'600'000 * millisecond);
  std::uint64_t offset = watches.size();
  for (const Watch& watch : watches) vanto::setTimer(watch.object(), far + offset--);
  for (const Watch& watch : watches) {
    vanto::setTimer(watch.object(), vanto::deadlineAfter(millisecond / 2));
    expired.wait();
  }
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(Workers, DoNotCallAnObjectWhoseTimerWasTakenAway) {
  const Watch cleared([](std::uint32_t) { ADD_FAILURE(); });
  const Watch stopped([](std::uint32_t) { ADD_FAILURE(); });
  Signal expired;
  const Watch last([&](std::uint32_t) { expired.raise(); });
  // Far enough away for what follows, and the other one comes later.
  const std::uint64_t deadline = vanto::deadlineAfter(20 * millisecond);
  vanto::setTimer(cleared.object(), deadline);
  vanto::setTimer(stopped.object(), deadline);
  vanto::setTimer(cleared.object(), UINT64_MAX);
  stopped.stop();
  vanto::setTimer(last.object(), deadline + millisecond);
  expired.wait();
}

TEST(Workers, SetATimerFromInsideItsHandler) {
  Signal done;
  int left = 10;
  Watching* object = nullptr;
  const Watch watch([&](std::uint32_t) {
    if (--left == 0) return done.raise();
    vanto::setTimer(*object, vanto::deadlineAfter(1));
  });
  object = &watch.object();
  vanto::setTimer(watch.object(), vanto::deadlineAfter(1));
  done.wait();
}

TEST(Workers, SurviveStopsThatRaceWithReadiness) {
  std::atomic<bool> isOver{false};
  std::atomic<std::uint64_t> calls{0};
  const auto churn = [&] {
    while (!isOver) {
      // Freed at the end of each round, perhaps while a worker is about to call it.
      const Watch watch([&](std::uint32_t) { calls.fetch_add(1); });
      vanto::setTimer(watch.object(), vanto::monotonicNow());
      watch.sockets().send();
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(churn);
  while (calls < 2'000) std::this_thread::yield();
  isOver = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(Workers, LetSeveralThreadsStopOneObject) {
  for (int round = 0; round < 200; ++round) {
    const Watch watch([](std::uint32_t) {});
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&] {
        vanto::setTimer(watch.object(), vanto::monotonicNow());
        watch.stop();
      });
    }
    watch.sockets().send();
    for (std::thread& thread : threads) thread.join();
  }
}

TEST(Workers, AnswerManyPeersAtOnce) {
  constexpr int peerCount = 50;
  constexpr int messagesPerPeer = 200;
  std::atomic<int> received{0};
  std::list<Watch> watches;
  Signal done;
  for (int i = 0; i < peerCount; ++i) {
    // The handler needs the watch that it is part of.
    const auto self = std::make_shared<const Watch*>(nullptr);
    watches.emplace_back([&, self](std::uint32_t) {
      const int count = (*self)->sockets().receiveAll();
      if (received.fetch_add(count) + count == peerCount * messagesPerPeer) done.raise();
    });
    *self = &watches.back();
  }
  for (int i = 0; i < messagesPerPeer; ++i) {
    for (const Watch& watch : watches) watch.sockets().send();
  }
  done.wait();
}

TEST(Deadline, NeverOverflows) {
  EXPECT_EQ(vanto::deadlineAfter(UINT64_MAX), UINT64_MAX);
  EXPECT_EQ(vanto::deadlineAfter(UINT64_MAX - 1), UINT64_MAX);
  const std::uint64_t before = vanto::monotonicNow();
  EXPECT_GE(vanto::deadlineAfter(5), before + 5);
}

TEST(Workers, TellWhatRemainsUntilADeadline) {
  EXPECT_EQ(vanto::remainingUntil(UINT64_MAX), UINT64_MAX);
  EXPECT_EQ(vanto::remainingUntil(0), 0U);
  EXPECT_EQ(vanto::remainingUntil(vanto::monotonicNow()), 0U);
  const std::uint64_t remaining = vanto::remainingUntil(vanto::deadlineAfter(60'000'000'000));
  EXPECT_GT(remaining, 50'000'000'000U);
  EXPECT_LE(remaining, 60'000'000'000U);
}

}  // namespace

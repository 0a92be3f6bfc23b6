// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <filesystem>
#include <thread>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/RawPeer.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.waiting";
constexpr std::uint64_t millisecond = 1'000'000;

/// Keeps requests until they are let go.
struct Keeper {
  Awaited<Held> requests;
  Service service{name, [this](vanto_object_t, vanto_object_t event) {
                    if (vanto_kind(event) == VANTO_KIND_MESSAGE) requests.add(Held::share(event));
                  }};
};

TEST(ConnectionWaiting, ACallEndsAtItsDeadline) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  for (const std::uint64_t timeout : {std::uint64_t{0}, std::uint64_t{1}, 5 * millisecond, 20 * millisecond}) {
    const std::uint64_t start = monotonicNow();
    EXPECT_EQ(codeOf(callWith(connection, text("x"), timeout)), VANTO_ERROR_TIMED_OUT);
    EXPECT_GE(monotonicNow() - start, timeout);
  }
}

/// Lets the time pass until `end`.
void passUntil(std::uint64_t end) {
  while (monotonicNow() < end) std::this_thread::yield();
}

TEST(ConnectionWaiting, ACallThatReadsForAnotherOneEndsAtItsDeadline) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  std::thread first([&] { EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x"); });
  vanto_object_t answered = keeper.requests.await().at(0);
  const std::uint64_t start = monotonicNow();
  std::thread second([&] {
    EXPECT_EQ(codeOf(callWith(connection, text("y"), 600 * millisecond)), VANTO_ERROR_TIMED_OUT);
    EXPECT_GE(monotonicNow() - start, 600 * millisecond);
    EXPECT_LT(monotonicNow() - start, 900 * millisecond);
  });
  static_cast<void>(keeper.requests.await(2));
  passUntil(start + 450 * millisecond);
  // From here on the second one reads.
  vanto_reply(answered, text("x"));
  first.join();
  second.join();
}

/// Fills the outstanding calls of a connection.
void fillCalls(vanto_object_t connection, std::size_t count) {
  for (std::size_t i = 0; i < count; i++) {
    ASSERT_NE(vanto_call_async(connection, text("x"), generous, [](vanto_object_t) {}), 0U);
  }
}

TEST(ConnectionWaiting, ACallThatHasWaitedForRoomEndsAtItsDeadline) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  fillCalls(connection, limits::ipcPendingReplies);
  vanto_object_t answered = keeper.requests.await(limits::ipcPendingReplies).at(0);
  const std::uint64_t start = monotonicNow();
  std::thread waiting([&] {
    EXPECT_EQ(codeOf(callWith(connection, text("y"), 600 * millisecond)), VANTO_ERROR_TIMED_OUT);
    EXPECT_GE(monotonicNow() - start, 600 * millisecond);
    EXPECT_LT(monotonicNow() - start, 900 * millisecond);
  });
  passUntil(start + 450 * millisecond);
  vanto_reply(answered, text("x"));
  waiting.join();
}

TEST(ConnectionWaiting, ACallThatEndsAtItsDeadlineMakesRoomForTheNext) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  fillCalls(connection, limits::ipcPendingReplies - 1);
  const std::uint64_t start = monotonicNow();
  std::thread first(
      [&] { EXPECT_EQ(codeOf(callWith(connection, text("x"), 300 * millisecond)), VANTO_ERROR_TIMED_OUT); });
  static_cast<void>(keeper.requests.await(limits::ipcPendingReplies));
  // There is no room for this one before the first one gives up, which is no frame that wakes who reads.
  EXPECT_EQ(codeOf(callWith(connection, text("y"), 600 * millisecond)), VANTO_ERROR_TIMED_OUT);
  EXPECT_LT(monotonicNow() - start, 900 * millisecond);
  first.join();
}

TEST(ConnectionWaiting, AnAsynchronousCallEndsAtItsDeadline) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  Awaited<std::string> order;
  const auto ends = [&](const char* what) {
    return [&order, what](vanto_object_t reply) {
      EXPECT_EQ(codeOf(reply), VANTO_ERROR_TIMED_OUT);
      order.add(what);
    };
  };
  vanto_call_async(connection, text("x"), 40 * millisecond, ends("later"));
  vanto_call_async(connection, text("x"), 10 * millisecond, ends("sooner"));
  EXPECT_EQ(order.await(2), (std::vector<std::string>{"sooner", "later"}));
}

TEST(ConnectionWaiting, TheServiceIsToldTheDeadline) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  EXPECT_EQ(codeOf(callWith(connection, text("x"), 10 * millisecond)), VANTO_ERROR_TIMED_OUT);
  vanto_object_t request = keeper.requests.await().at(0);
  // Its clock started when the request arrived, a little later than the client's.
  while (!vanto_message_is_cancelled(request)) std::this_thread::yield();
  EXPECT_TRUE(vanto_message_expects_reply(request));
  EXPECT_EQ(vanto_reply(request, text("late")), VANTO_ERROR_NONE);
  vanto_call_async(connection, text("x"), VANTO_WAIT_FOREVER, [](vanto_object_t) {});
  EXPECT_FALSE(vanto_message_is_cancelled(keeper.requests.await(2).at(1)));
}

TEST(ConnectionWaiting, ALateReplyIsDropped) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  EXPECT_EQ(codeOf(callWith(connection, text("x"), millisecond)), VANTO_ERROR_TIMED_OUT);
  vanto_reply(keeper.requests.await().at(0), text("late"));
  EXPECT_EQ(codeOf(callWith(connection, text("x"), millisecond)), VANTO_ERROR_TIMED_OUT);
  vanto_reply(keeper.requests.await(2).at(1), data(1 << 20));
  Awaited<int> done;
  std::thread waiting([&] {
    EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "in time");
    done.add(1);
  });
  vanto_reply(keeper.requests.await(3).at(2), text("in time"));
  waiting.join();
}

TEST(ConnectionWaiting, ACancelledCallEndsAndTheServiceIsTold) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  Awaited<vanto_error_code_t> replies;
  const std::uint64_t call =
      vanto_call_async(connection, text("x"), generous, [&](vanto_object_t reply) { replies.add(codeOf(reply)); });
  vanto_object_t request = keeper.requests.await().at(0);
  EXPECT_FALSE(vanto_message_is_cancelled(request));
  vanto_cancel(connection, call);
  vanto_cancel(connection, call);
  EXPECT_EQ(replies.await().at(0), VANTO_ERROR_CANCELLED);
  while (!vanto_message_is_cancelled(request)) std::this_thread::yield();
  EXPECT_EQ(vanto_reply(request, text("too late")), VANTO_ERROR_NONE);
  // The connection is none the worse for it.
  vanto_call_async(connection, text("y"), generous, [&](vanto_object_t reply) { replies.add(codeOf(reply)); });
  vanto_reply(keeper.requests.await(2).at(1), text("y"));
  EXPECT_EQ(replies.await(2).at(1), VANTO_ERROR_NONE);
}

TEST(ConnectionWaiting, ARunningHandlerSeesTheCancellation) {
  const RuntimeDirectory directory;
  Awaited<int> began;
  Awaited<int> saw;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    began.add(1);
    while (!vanto_message_is_cancelled(event)) std::this_thread::yield();
    saw.add(1);
  });
  const Held connection = connectTo(name);
  const std::uint64_t call = vanto_call_async(connection, text("x"), generous, [](vanto_object_t) {});
  static_cast<void>(began.await());
  vanto_cancel(connection, call);
  EXPECT_EQ(saw.await().size(), 1U);
}

TEST(ConnectionWaiting, ACallThatWaitsToBeSentIsCancelledWithoutTheServiceKnowing) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::optional<RawPeer> peer;
  std::thread accepting([&] { peer.emplace(service.acceptAndGreet(1)); });
  const Held connection = connectTo(name);
  accepting.join();
  Awaited<vanto_error_code_t> replies;
  const auto keep = [&](vanto_object_t reply) {
    replies.add(codeOf(reply));
  };
  ASSERT_NE(vanto_call_async(connection, text("sent"), generous, keep), 0U);
  const std::uint64_t waiting = vanto_call_async(connection, text("waits"), generous, keep);
  ASSERT_NE(vanto_call_async(connection, text("goes on"), generous, keep), 0U);
  vanto_cancel(connection, waiting);
  EXPECT_EQ(replies.await().at(0), VANTO_ERROR_CANCELLED);
  ASSERT_TRUE(peer->receive());
  EXPECT_EQ(peer->header().id, 1U);
  peer->send({.kind = FrameKind::Credit, .creditMessages = 1, .creditBytes = 16});
  ASSERT_TRUE(peer->receive());
  EXPECT_EQ(peer->header().kind, FrameKind::Request);
  EXPECT_EQ(peer->header().id, 3U);
  vanto_close(connection);
  EXPECT_EQ(replies.await(3).size(), 3U);
}

TEST(ConnectionWaiting, SeveralThreadsCallOnOneConnection) {
  const RuntimeDirectory directory;
  const Service service(name);
  for (const bool isResumed : {false, true}) {
    const Held connection = connectTo(name);
    if (isResumed) vanto_connection_resume(connection);
    std::vector<std::thread> threads;
    std::atomic<int> asynchronous{0};
    Awaited<int> all;
    for (int thread = 0; thread < 8; thread++) {
      threads.emplace_back([&, thread] {
        for (int i = 0; i < 200; i++) {
          const Held question(vanto_int64_create(thread * 1000 + i));
          if (thread == 7) {
            while (vanto_call_async(connection, question, generous, [&](vanto_object_t) {
                     if (++asynchronous == 200) all.add(1);
                   }) == 0) {
              std::this_thread::yield();
            }
          } else {
            ASSERT_TRUE(vanto_equal(callWith(connection, question), question));
          }
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(all.await().size(), 1U);
  }
}

TEST(ConnectionWaiting, TheReadingThreadHandsOnToTheNext) {
  const RuntimeDirectory directory;
  Keeper keeper;
  const Held connection = connectTo(name);
  Awaited<std::string> replies;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; i++) {
    threads.emplace_back(
        [&, i] { replies.add(vanto_string_get_text(callWith(connection, text(std::to_string(i).c_str())))); });
    static_cast<void>(keeper.requests.await(static_cast<std::size_t>(i) + 1));
  }
  auto requests = keeper.requests.await(3);
  // The first one reads; when it has its reply, one of the others must.
  for (std::size_t i = 0; i < 3; i++) {
    vanto_reply(requests[i], vanto_message_get_body(requests[i]));
    EXPECT_EQ(replies.await(i + 1)[i], std::to_string(i));
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(ConnectionWaiting, MessagesThatComeDuringACallAreDelivered) {
  const RuntimeDirectory directory;
  Service service(name, [](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    for (int i = 0; i < 10; i++) EXPECT_EQ(vanto_send(connection, text("news"), generous), VANTO_ERROR_NONE);
    vanto_reply(event, text("reply"));
  });
  const Held connection = connectTo(name);
  Awaited<std::string> news;
  vanto_connection_set_event_handler(connection, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) news.add(vanto_string_get_text(vanto_message_get_body(event)));
  });
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "reply");
  EXPECT_EQ(news.count(), 0U);
  vanto_connection_resume(connection);
  EXPECT_EQ(news.await(10).size(), 10U);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "reply");
  EXPECT_EQ(news.await(20).size(), 20U);
}

TEST(ConnectionWaiting, ACallWorksInsideTheEventFunction) {
  const RuntimeDirectory directory;
  Service service(name, [](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    if (!vanto_message_expects_reply(event)) vanto_send(connection, text("begin"), 0);
    Service::echo(connection, event);
  });
  const Held connection = connectTo(name);
  Awaited<std::string> replies;
  vanto_connection_set_event_handler(connection, [&](vanto_object_t source, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    for (int i = 0; i < 100; i++) replies.add(vanto_string_get_text(callWith(source, text("inside"))));
  });
  vanto_connection_resume(connection);
  EXPECT_EQ(vanto_send(connection, text("x"), 0), VANTO_ERROR_NONE);
  for (const std::string& reply : replies.await(100)) EXPECT_EQ(reply, "inside");
}

TEST(ConnectionWaiting, ACallEndsWhenThePeerDies) {
  const RuntimeDirectory directory;
  RawService service(name);
  Awaited<int> received;
  std::thread dying([&] {
    RawPeer peer = service.acceptAndGreet();
    EXPECT_TRUE(peer.receive());
  });
  const Held connection = connectTo(name);
  EXPECT_EQ(codeOf(callWith(connection, text("x"))), VANTO_ERROR_CLOSED);
  dying.join();
  EXPECT_EQ(codeOf(callWith(connection, text("x"))), VANTO_ERROR_CLOSED);
}

TEST(ConnectionWaiting, WhatAPeerSentBeforeItDiedArrives) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::thread dying([&] {
    RawPeer peer = service.acceptAndGreet();
    EXPECT_TRUE(peer.receive());
    peer.sendObject(FrameKind::Reply, peer.header().id, text("last words"));
    // What it leaves unread has the kernel report a reset.
    EXPECT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().kind, FrameKind::Message);
    while (poll(nullptr, 0, 0) != 0) {
    }
  });
  const Held connection = connectTo(name);
  Awaited<std::string> replies;
  vanto_connection_set_event_handler(connection, [](vanto_object_t, vanto_object_t) {});
  std::thread calling([&] { replies.add(vanto_string_get_text(callWith(connection, text("x")))); });
  while (replies.count() == 0) std::this_thread::yield();
  calling.join();
  for (int i = 0; i < 3; i++) static_cast<void>(vanto_send(connection, text("unread"), 0));
  dying.join();
  EXPECT_EQ(replies.await().at(0), "last words");
}

TEST(ConnectionWaiting, CallingStartsNoThread) {
  const RuntimeDirectory directory;
  // The service of this process has threads; they are counted before.
  const Service service(name);
  { EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x"); }
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
  };
  const auto before = threads();
  const Held connection = connectTo(name);
  for (int i = 0; i < 100; i++) EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
  EXPECT_LE(threads(), before + 1);
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <map>
#include <thread>

#include "host/ipc/DescriptorLimit.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/RawPeer.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.sending";
/// What encoding adds to the bytes of a data object.
constexpr std::size_t dataHeader = 8;

TEST(ConnectionSending, BodiesOfEverySizeArrive) {
  const RuntimeDirectory directory;
  const Service service(name);
  const Held connection = connectTo(name);
  const std::size_t inlineSize = limits::ipcInlineBytes - dataHeader;
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, inlineSize - 8, inlineSize - 1, inlineSize, inlineSize + 1, inlineSize + 8,
        2 * inlineSize, std::size_t{1} << 20, std::size_t{7'654'321}, limits::ipcMessageBytes - dataHeader}) {
    const Held body = data(size, static_cast<unsigned char>(size));
    EXPECT_TRUE(vanto_equal(callWith(connection, body), body)) << size;
  }
}

TEST(ConnectionSending, ABodyBeyondTheLimitIsNotSent) {
  const RuntimeDirectory directory;
  const Service service(name);
  const Held connection = connectTo(name);
  const Held body = data(limits::ipcMessageBytes - dataHeader + 1);
  EXPECT_EQ(codeOf(callWith(connection, body)), VANTO_ERROR_TOO_LARGE);
  EXPECT_EQ(vanto_send(connection, body, 0), VANTO_ERROR_TOO_LARGE);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
}

TEST(ConnectionSending, AReplyBeyondTheLimitCanBeReplaced) {
  const RuntimeDirectory directory;
  const Held large = data(limits::ipcMessageBytes);
  const Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    EXPECT_EQ(vanto_reply(event, large), VANTO_ERROR_TOO_LARGE);
    EXPECT_EQ(vanto_reply(event, text("small")), VANTO_ERROR_NONE);
  });
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "small");
}

TEST(ConnectionSending, SmallCallsPassLargeOnes) {
  const RuntimeDirectory directory;
  const Service service(name);
  const Held connection = connectTo(name);
  const Held large = data(32 << 20);
  Awaited<std::string> order;
  ASSERT_NE(vanto_call_async(connection, large, generous,
                             [&](vanto_object_t reply) {
                               EXPECT_TRUE(vanto_equal(reply, large));
                               order.add("large");
                             }),
            0U);
  ASSERT_NE(vanto_call_async(connection, text("small"), generous,
                             [&](vanto_object_t reply) { order.add(vanto_string_get_text(reply)); }),
            0U);
  EXPECT_EQ(order.await(2), (std::vector<std::string>{"small", "large"}));
}

TEST(ConnectionSending, LargeMessagesBothWaysAtTheSameTimeArrive) {
  const RuntimeDirectory directory;
  const Service service(name);
  const Held connection = connectTo(name);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; i++) {
    threads.emplace_back([&, i] {
      const Held body = data((4 << 20) + static_cast<std::size_t>(i), static_cast<unsigned char>(i));
      EXPECT_TRUE(vanto_equal(callWith(connection, body), body));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(ConnectionSending, TwoPeersThatSendAtTheSameTimeDoNotBlockEachOther) {
  const RuntimeDirectory directory;
  constexpr int count = 10'000;
  std::atomic<int> atService{0};
  std::atomic<int> atClient{0};
  Awaited<int> ready;
  Awaited<Held> accepted;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE && ++atService == count) ready.add(1);
  });
  const Held client = connectTo(name);
  vanto_connection_set_event_handler(client, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE && ++atClient == count) ready.add(2);
  });
  vanto_connection_resume(client);
  const vanto_object_t serving = service.connections.await().at(0);
  const auto sendMany = [](vanto_object_t connection) {
    const Held message = data(1000);
    for (int i = 0; i < count; i++) ASSERT_EQ(vanto_send(connection, message, generous), VANTO_ERROR_NONE);
  };
  std::thread other([&] { sendMany(serving); });
  sendMany(client);
  other.join();
  static_cast<void>(ready.await(2));
  EXPECT_EQ(atService, count);
  EXPECT_EQ(atClient, count);
}

TEST(ConnectionSending, MessagesArriveInOrder) {
  const RuntimeDirectory directory;
  Awaited<std::int64_t> numbers;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) numbers.add(vanto_int64_get_value(vanto_message_get_body(event)));
  });
  // Nobody reads for this connection but the sender itself.
  const Held connection = connectTo(name);
  for (int i = 0; i < 5000; i++) {
    ASSERT_EQ(vanto_send(connection, Held(vanto_int64_create(i)), generous), VANTO_ERROR_NONE);
  }
  const auto& arrived = numbers.await(5000);
  for (int i = 0; i < 5000; i++) ASSERT_EQ(arrived[static_cast<std::size_t>(i)], i);
}

TEST(ConnectionSending, AFullQueueIsToldAndWaitedFor) {
  const RuntimeDirectory directory;
  RawService service(name);
  Awaited<int> accepted;
  std::optional<RawPeer> peer;
  std::thread accepting([&] { peer.emplace(service.acceptAndGreet(4)); });
  const Held connection = connectTo(name);
  accepting.join();
  const Held message = text("x");
  // Four messages have credit, and 256 more wait for some.
  for (std::size_t i = 0; i < 4 + limits::ipcSendQueueMessages; i++) {
    ASSERT_EQ(vanto_send(connection, message, 0), VANTO_ERROR_NONE) << i;
  }
  EXPECT_EQ(vanto_send(connection, message, 0), VANTO_ERROR_FULL);
  EXPECT_EQ(vanto_send(connection, message, 1'000'000), VANTO_ERROR_FULL);
  EXPECT_EQ(codeOf(callWith(connection, message, 1'000'000)), VANTO_ERROR_FULL);
  EXPECT_EQ(vanto_call_async(
                connection, message, generous, [](vanto_object_t, void*) { FAIL(); }, nullptr),
            0U);
  // What comes in makes room for one that waits.
  std::thread sending([&] { EXPECT_EQ(vanto_send(connection, message, generous), VANTO_ERROR_NONE); });
  for (int i = 0; i < 4; i++) ASSERT_TRUE(peer->receiveKind(FrameKind::Message));
  peer->send({.kind = FrameKind::Credit, .creditMessages = 4, .creditBytes = 64});
  sending.join();
  for (int i = 0; i < 4; i++) ASSERT_TRUE(peer->receiveKind(FrameKind::Message));
}

TEST(ConnectionSending, TheWindowCountsBytesToo) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::optional<RawPeer> peer;
  std::thread accepting([&] { peer.emplace(service.acceptAndGreet(256, 100)); });
  const Held connection = connectTo(name);
  accepting.join();
  // Each counts as half of the window of 100 bytes.
  for (int i = 0; i < 3; i++) ASSERT_EQ(vanto_send(connection, data(80), 0), VANTO_ERROR_NONE);
  ASSERT_TRUE(peer->receive());
  ASSERT_TRUE(peer->receive());
  pollfd set{peer->descriptor(), POLLIN, 0};
  EXPECT_EQ(poll(&set, 1, 0), 0);
  peer->send({.kind = FrameKind::Credit, .creditMessages = 1, .creditBytes = 50});
  EXPECT_TRUE(peer->receiveKind(FrameKind::Message));
}

TEST(ConnectionSending, TheWindowCountsDescriptorsToo) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::optional<RawPeer> peer;
  std::thread accepting([&] { peer.emplace(service.acceptAndGreet()); });
  const Held connection = connectTo(name);
  accepting.join();
  const Held full = descriptorsOf(limits::ipcDescriptors);
  constexpr std::size_t most = limits::ipcDescriptorsInHand / limits::ipcDescriptors;
  for (std::size_t i = 0; i < most; i++) ASSERT_EQ(vanto_send(connection, full, 0), VANTO_ERROR_NONE);
  ASSERT_EQ(vanto_send(connection, text("x"), 0), VANTO_ERROR_NONE);
  for (std::size_t i = 0; i < most; i++) ASSERT_TRUE(peer->receiveKind(FrameKind::Message));
  pollfd set{peer->descriptor(), POLLIN, 0};
  EXPECT_EQ(poll(&set, 1, 0), 0);
  const std::size_t size = 8 + 8 * limits::ipcDescriptors;
  peer->send({.kind = FrameKind::Credit,
              .creditMessages = 1,
              .creditBytes = static_cast<std::uint32_t>((1 << 20) / 4 + size)});
  EXPECT_TRUE(peer->receiveKind(FrameKind::Message));
}

TEST(ConnectionSending, OneClientsDescriptorsLeaveRoomForThoseOfOthers) {
  const RuntimeDirectory directory;
  Awaited<Held> kept;
  Service service(name, [&](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE && !vanto_message_expects_reply(event)) kept.add(Held::share(event));
    if (vanto_kind(event) == VANTO_KIND_MESSAGE && vanto_message_expects_reply(event)) {
      Service::echo(connection, event);
    }
  });
  const Held greedy = connectTo(name);
  const Held modest = connectTo(name);
  const Held full = descriptorsOf(limits::ipcDescriptors);
  const Held one = descriptorsOf(1);
  EXPECT_EQ(vanto_kind(callWith(modest, text("x"))), VANTO_KIND_STRING);
  // Half of what the greedy client tries to get taken in.
  const DescriptorLimit limit(64 * limits::ipcDescriptors / 2);
  for (int i = 0; i < 64; i++) ASSERT_EQ(vanto_send(greedy, full, 0), VANTO_ERROR_NONE);
  static_cast<void>(kept.await(limits::ipcDescriptorsInHand / limits::ipcDescriptors));
  EXPECT_EQ(vanto_kind(callWith(modest, one)), VANTO_KIND_ARRAY);
  // The rest follows as the first ones are let go.
  for (int i = 0; i < 64; i++) kept.take().reset();
}

TEST(ConnectionSending, MoreRepliesThanTheLimitAreNotAwaited) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) requests.add(Held::share(event));
  });
  const Held connection = connectTo(name);
  Awaited<int> replies;
  const auto count = [&](vanto_object_t) {
    replies.add(1);
  };
  for (std::size_t i = 0; i < limits::ipcPendingReplies; i++) {
    ASSERT_NE(vanto_call_async(connection, text("x"), generous, count), 0U) << i;
  }
  EXPECT_EQ(vanto_call_async(connection, text("x"), generous, count), 0U);
  EXPECT_EQ(codeOf(callWith(connection, text("x"), 1'000'000)), VANTO_ERROR_FULL);
  auto held = requests.await(limits::ipcPendingReplies);
  vanto_reply(held[0], text("y"));
  static_cast<void>(replies.await(1));
  EXPECT_NE(vanto_call_async(connection, text("x"), generous, count), 0U);
  for (Held& request : requests.await(limits::ipcPendingReplies + 1)) vanto_reply(request, text("y"));
  static_cast<void>(replies.await(limits::ipcPendingReplies + 1));
}

TEST(ConnectionSending, APeerThatNeverReadsDelaysItselfAlone) {
  const RuntimeDirectory directory;
  std::atomic<int> served{0};
  const Service service(name, [&](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) served++;
    Service::echo(connection, event);
  });
  RawPeer stubborn = RawPeer::greeted(name);
  const Held body = data(60'000);
  // As many requests as its window takes; the replies are more than its socket does.
  for (std::uint64_t id = 1; id <= 18; id++) stubborn.sendObject(FrameKind::Request, id, body);
  std::vector<std::thread> threads;
  for (int i = 0; i < 100; i++) {
    threads.emplace_back([&] {
      const Held connection = connectTo(name);
      for (int call = 0; call < 10; call++) EXPECT_TRUE(vanto_equal(callWith(connection, body), body));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(ConnectionSending, WhileRepliesWaitNoMoreRequestsAreDelivered) {
  const RuntimeDirectory directory;
  const Held large = data(400'000);
  std::atomic<int> served{0};
  Awaited<int> first;
  const Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    served++;
    vanto_reply(event, large);
    if (served == 3) first.add(1);
  });
  RawPeer peer = RawPeer::greeted(name);
  for (std::uint64_t id = 1; id <= 100; id++) peer.sendObject(FrameKind::Request, id, text("x"));
  static_cast<void>(first.await());
  // One more call goes through the same workers; by then nothing is left to do for the peer that does not read.
  const Held other = connectTo(name);
  EXPECT_TRUE(vanto_equal(callWith(other, text("x")), large));
  EXPECT_LE(served, 6);
  // It gets everything when it reads.
  std::map<std::uint64_t, std::size_t> bytes;
  std::size_t whole = 0;
  while (whole < 100 && peer.receive()) {
    const std::size_t size = bytes[peer.header().id] += peer.payload().size();
    if (size == 400'008) whole++;
  }
  EXPECT_EQ(whole, 100U);
}

TEST(ConnectionSending, DescriptorsUnderWayAreNoReasonToGiveUp) {
  const RuntimeDirectory directory;
  Awaited<int> arrived;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) arrived.add(1);
  });
  const Held connection = connectTo(name);
  const Held array = descriptorsOf(limits::ipcDescriptors);
  for (int i = 0; i < 200; i++) ASSERT_EQ(vanto_send(connection, array, generous), VANTO_ERROR_NONE);
  EXPECT_EQ(arrived.await(200).size(), 200U);
}

}  // namespace
}  // namespace vanto::test

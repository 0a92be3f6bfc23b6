// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <random>
#include <thread>

#include <sys/wait.h>

#include "dispatch/Workers.h"
#include "host/ipc/DescriptorLimit.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "ipc/BodyRoom.h"
#include "support/OpenDescriptors.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.reading";

/// An echo service with a witness: a client that must be served whatever another one does.
class ConnectionReading : public testing::Test {
 protected:
  void TearDown() override { EXPECT_STREQ(vanto_string_get_text(callWith(witness_, text("well?"))), "well?"); }

  const RuntimeDirectory directory_;
  Awaited<vanto_error_code_t> ends_;
  Service service_{name, [this](vanto_object_t connection, vanto_object_t event) {
                     if (vanto_kind(event) == VANTO_KIND_ERROR) ends_.add(codeOf(event));
                     Service::echo(connection, event);
                   }};
  const Held witness_ = connectTo(name);
};

TEST_F(ConnectionReading, GarbageEndsTheConnection) {
  std::mt19937 random(7);
  for (const std::size_t size : {1, 39, 40, 41, 100, 65'576, 65'577, 70'000}) {
    RawPeer peer = RawPeer::greeted(name);
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    peer.sendBytes(bytes);
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL) << size;
  }
  EXPECT_EQ(ends_.await(8), std::vector<vanto_error_code_t>(8, VANTO_ERROR_PROTOCOL));
}

TEST_F(ConnectionReading, ABodyThatIsNoObjectEndsTheConnection) {
  RawPeer peer = RawPeer::greeted(name);
  const std::uint8_t body[8] = {99};
  peer.send({.kind = FrameKind::Request, .id = 1, .length = 8}, body);
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST_F(ConnectionReading, FramesOfTheGreetingsHaveTheirTime) {
  for (const FrameKind kind : {FrameKind::Greeting, FrameKind::Answer}) {
    RawPeer peer = RawPeer::greeted(name);
    peer.sendGreeting(kind, {.windowMessages = 1, .windowBytes = 1});
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
  }
  RawPeer peer = RawPeer::greeted(name);
  sendCode(peer.descriptor(), FrameKind::Refusal, VANTO_ERROR_FULL);
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST_F(ConnectionReading, NothingIsTakenBeforeTheAnswer) {
  RawPeer peer = RawPeer::connectTo(name);
  ASSERT_TRUE(peer.receive());
  peer.sendObject(FrameKind::Request, 1, text("x"));
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST_F(ConnectionReading, IdsMustRise) {
  for (const std::uint64_t id : {3, 5}) {
    RawPeer peer = RawPeer::greeted(name);
    peer.sendObject(FrameKind::Request, 5, text("x"));
    peer.sendObject(FrameKind::Request, id, text("x"));
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL) << id;
  }
}

TEST_F(ConnectionReading, AReplyToNothingEndsTheConnection) {
  RawPeer peer = RawPeer::greeted(name);
  peer.sendObject(FrameKind::Reply, 1, text("x"));
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST_F(ConnectionReading, AChunkOfNothingEndsTheConnection) {
  RawPeer peer = RawPeer::greeted(name);
  const std::uint8_t byte = 0;
  peer.send({.kind = FrameKind::Chunk, .id = 1}, {&byte, 1});
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST_F(ConnectionReading, ACancellationOfWhatIsYetToComeEndsTheConnection) {
  RawPeer peer = RawPeer::greeted(name);
  peer.sendObject(FrameKind::Request, 5, text("x"));
  ASSERT_TRUE(peer.receive());
  peer.send({.kind = FrameKind::Cancel, .id = 5});
  peer.send({.kind = FrameKind::Cancel, .id = 3});
  peer.sendObject(FrameKind::Request, 6, text("x"));
  ASSERT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().id, 6U);
  peer.send({.kind = FrameKind::Cancel, .id = 7});
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST_F(ConnectionReading, CreditForNothingEndsTheConnection) {
  for (const FrameHeader& header : {FrameHeader{.kind = FrameKind::Credit, .creditMessages = 1},
                                    FrameHeader{.kind = FrameKind::Credit, .creditBytes = 1}}) {
    RawPeer peer = RawPeer::greeted(name);
    peer.send(header);
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
  }
}

TEST_F(ConnectionReading, TheEndOfWhatAPeerSendsEndsTheConnection) {
  for (std::size_t count = 1; count <= 3; count++) {
    RawPeer peer = RawPeer::greeted(name);
    peer.sendObject(FrameKind::Request, 1, text("x"));
    // With the frame, or when that was dealt with.
    if (count == 3) {
      EXPECT_TRUE(peer.receiveKind(FrameKind::Reply));
    }
    if (count == 1) {
      EXPECT_EQ(shutdown(peer.descriptor(), SHUT_WR), 0);
    } else {
      EXPECT_EQ(::send(peer.descriptor(), "", 0, MSG_NOSIGNAL), 0);
    }
    EXPECT_EQ(peer.awaitEnd(), 0U);
    EXPECT_EQ(ends_.await(count).at(count - 1), VANTO_ERROR_CLOSED);
  }
}

TEST_F(ConnectionReading, AGoodbyeEndsTheConnection) {
  for (const std::uint32_t code : {std::uint32_t{VANTO_ERROR_PROTOCOL}, std::uint32_t{VANTO_ERROR_NONE}}) {
    RawPeer peer = RawPeer::greeted(name);
    sendCode(peer.descriptor(), FrameKind::Goodbye, code);
    EXPECT_EQ(peer.awaitEnd(), 0U);
  }
  EXPECT_EQ(ends_.await(2), (std::vector<vanto_error_code_t>{VANTO_ERROR_PROTOCOL, VANTO_ERROR_CLOSED}));
}

TEST_F(ConnectionReading, TooManyDescriptorsEndTheConnectionAndAreClosed) {
  const Held null(vanto_fd_create(0));
  const Held array(vanto_array_create(nullptr, 0));
  RawPeer first = RawPeer::greeted(name);
  const auto before = openDescriptors();
  for (const std::size_t count : {std::size_t{1}, std::size_t{16}, std::size_t{17}, std::size_t{100}}) {
    RawPeer peer = RawPeer::greeted(name);
    const std::vector<int> descriptors(count, 0);
    EncodedObject body;
    ASSERT_EQ(body.encode(text("carries none")), VANTO_ERROR_NONE);
    // By hand, since what sends frames refuses too many.
    std::vector<std::uint8_t> bytes(frameHeaderBytes);
    encodeHeader({.kind = FrameKind::Message,
                  .descriptors = static_cast<std::uint16_t>(count),
                  .id = 1,
                  .length = body.bytes().size()},
                 bytes.data());
    bytes.insert(bytes.end(), body.bytes().begin(), body.bytes().end());
    iovec part{bytes.data(), bytes.size()};
    std::vector<std::uint8_t> control(CMSG_SPACE(count * sizeof(int)));
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(count * sizeof(int));
    std::memcpy(CMSG_DATA(header), descriptors.data(), count * sizeof(int));
    ASSERT_EQ(sendmsg(peer.descriptor(), &message, MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL) << count;
  }
  EXPECT_EQ(ends_.await(4).size(), 4U);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ConnectionReading, ASenderBeyondItsWindowIsThrownOut) {
  Awaited<Held> held;
  Service slow("org.example.slow", [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) held.add(Held::share(event));
  });
  {
    RawPeer peer = RawPeer::greeted("org.example.slow");
    for (std::uint64_t id = 1; id <= 257; id++) peer.sendObject(FrameKind::Message, id, text("x"));
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
    EXPECT_EQ(held.await(256).size(), 256U);
  }
  {
    RawPeer peer = RawPeer::greeted("org.example.slow");
    const Held body = data(60'000);
    for (std::uint64_t id = 1; id <= 18; id++) peer.sendObject(FrameKind::Message, id, body);
    EXPECT_EQ(held.await(256 + 18).size(), 256U + 18);
    peer.sendObject(FrameKind::Message, 19, text("x"));
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
  }
}

TEST_F(ConnectionReading, ASenderOfMoreDescriptorsThanItsWindowHoldsIsThrownOut) {
  Awaited<Held> held;
  Service slow("org.example.slow", [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) held.add(Held::share(event));
  });
  std::size_t messages = 0;
  for (const std::size_t count : {std::size_t{1}, limits::ipcDescriptors}) {
    RawPeer peer = RawPeer::greeted("org.example.slow");
    const Held array = descriptorsOf(count);
    const std::vector<int> descriptors(count, 0);
    std::uint64_t id = 0;
    for (std::size_t sent = 0; sent < limits::ipcDescriptorsInHand; sent += count) {
      peer.sendObject(FrameKind::Message, ++id, array, descriptors);
    }
    messages += id;
    EXPECT_EQ(held.await(messages).size(), messages);
    // Everything is in hand now, so one without descriptors is too much as well.
    peer.sendObject(FrameKind::Message, ++id, text("x"));
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
    EXPECT_EQ(held.count(), messages);
  }
}

TEST_F(ConnectionReading, CreditForDescriptorsComesBackWithTheMessage) {
  RawPeer peer = RawPeer::greeted(name);
  const Held array = descriptorsOf(2);
  const std::vector<int> descriptors(2, 0);
  peer.sendObject(FrameKind::Request, 1, array, descriptors);
  ASSERT_TRUE(peer.receiveKind(FrameKind::Reply));
  EXPECT_EQ(peer.header().creditMessages, 1U);
  EXPECT_EQ(peer.header().creditBytes, (1U << 20) / 64 * 2 + 24);
}

TEST_F(ConnectionReading, APeerIsNotToBlameForDescriptorsThatThisProcessHasNoRoomFor) {
  RawPeer peer = RawPeer::greeted(name);
  peer.sendObject(FrameKind::Request, 1, text("x"));
  ASSERT_TRUE(peer.receiveKind(FrameKind::Reply));
  const Held array = descriptorsOf(2);
  {
    const DescriptorLimit limit(1);
    const std::vector<int> descriptors(2, 0);
    peer.sendObject(FrameKind::Request, 2, array, descriptors);
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_SYSTEM);
  }
  EXPECT_EQ(ends_.await(), (std::vector<vanto_error_code_t>{VANTO_ERROR_SYSTEM}));
}

TEST_F(ConnectionReading, CreditComesBackBeforeTheWindowIsUsedUp) {
  RawPeer peer = RawPeer::greeted(name);
  std::uint32_t outstanding = 0;
  for (std::uint64_t id = 1; id <= 2000; id++) {
    while (outstanding == 256) {
      ASSERT_TRUE(peer.receive());
      outstanding -= peer.header().creditMessages;
    }
    peer.sendObject(FrameKind::Message, id, text("x"));
    outstanding++;
  }
  peer.sendObject(FrameKind::Request, 2001, text("done"));
  while (peer.receive() && peer.header().kind != FrameKind::Reply) {
  }
  EXPECT_EQ(peer.header().id, 2001U);
}

/// Sends the first frame of a message of `size` bytes.
void beginMessage(RawPeer& peer, std::size_t size) {
  const std::vector<std::uint8_t> part(limits::ipcInlineBytes);
  peer.send({.kind = FrameKind::Message, .id = 1, .length = size}, part);
}

/// Whether a second message of a peer is answered; what it sent before was taken in then.
bool isServed(RawPeer& peer) {
  peer.sendObject(FrameKind::Request, 2, text("taken?"));
  return peer.receiveKind(FrameKind::Reply);
}

TEST_F(ConnectionReading, LargeMessagesOfOneUserHaveABoundOverAllConnections) {
  std::vector<RawPeer> peers;
  for (std::size_t begun = 0; begun < limits::ipcChunkedBytesPerUser; begun += limits::ipcMessageBytes) {
    peers.push_back(RawPeer::greeted(name));
    beginMessage(peers.back(), limits::ipcMessageBytes);
    ASSERT_TRUE(isServed(peers.back()));
  }
  {
    RawPeer peer = RawPeer::greeted(name);
    beginMessage(peer, limits::ipcInlineBytes + 8);
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_FULL);
  }
  EXPECT_EQ(ends_.await(1), (std::vector<vanto_error_code_t>{VANTO_ERROR_FULL}));
  peers.pop_back();
  static_cast<void>(ends_.await(2));
  RawPeer peer = RawPeer::greeted(name);
  beginMessage(peer, limits::ipcInlineBytes + 8);
  EXPECT_TRUE(isServed(peer));
}

TEST_F(ConnectionReading, ALargeMessageTakesRoomUntilItWasDealtWith) {
  Awaited<Held> held;
  Service slow("org.example.slow", [&](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    if (vanto_message_expects_reply(event)) return Service::echo(connection, event);
    held.add(Held::share(event));
  });
  const Held large = data(100'000);
  const BodyRoom others = BodyRoom::take(geteuid(), limits::ipcChunkedBytesPerUser - 150'000);
  const Held first = connectTo("org.example.slow");
  ASSERT_EQ(vanto_send(first, large, generous), VANTO_ERROR_NONE);
  // When this is answered, the handler holds the only reference.
  EXPECT_EQ(vanto_kind(callWith(first, text("x"))), VANTO_KIND_STRING);
  Awaited<vanto_error_code_t> lastEvents;
  const Held second = connectTo("org.example.slow");
  vanto_connection_set_event_handler(second,
                                     [&](vanto_object_t, vanto_object_t event) { lastEvents.add(codeOf(event)); });
  vanto_connection_resume(second);
  // The call may not be taken for one of which nothing was sent.
  EXPECT_EQ(codeOf(callWith(second, large)), VANTO_ERROR_CLOSED);
  EXPECT_EQ(lastEvents.await(), (std::vector<vanto_error_code_t>{VANTO_ERROR_FULL}));
  held.take().reset();
  const Held third = connectTo("org.example.slow");
  ASSERT_EQ(vanto_send(third, large, generous), VANTO_ERROR_NONE);
  EXPECT_TRUE(vanto_equal(vanto_message_get_body(held.take()), large));
}

TEST_F(ConnectionReading, ARequestThatIsCancelledOnItsWayIsNotDelivered) {
  std::atomic<int> delivered{0};
  Service service("org.example.counting", [&](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) delivered++;
    Service::echo(connection, event);
  });
  RawPeer peer = RawPeer::greeted("org.example.counting");
  EncodedObject body;
  ASSERT_EQ(body.encode(data(100'000)), VANTO_ERROR_NONE);
  const std::size_t size = body.bytes().size();
  peer.send({.kind = FrameKind::Request, .id = 1, .length = size}, body.bytes().first(limits::ipcInlineBytes));
  peer.send({.kind = FrameKind::Cancel, .id = 1});
  peer.send({.kind = FrameKind::Chunk, .id = 1}, body.bytes().subspan(limits::ipcInlineBytes));
  peer.sendObject(FrameKind::Request, 2, text("x"));
  ASSERT_TRUE(peer.receiveKind(FrameKind::Reply));
  EXPECT_EQ(peer.header().id, 2U);
  EXPECT_EQ(delivered, 1);
  EXPECT_EQ(peer.header().creditMessages, 2U);
  EXPECT_EQ(peer.header().creditBytes, size + 16);
}

TEST_F(ConnectionReading, TheDeadlineOfALargeRequestRunsFromItsFirstFrame) {
  Awaited<bool> late;
  Service service("org.example.deadline", [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) late.add(vanto_message_is_cancelled(event));
  });
  EncodedObject body;
  ASSERT_EQ(body.encode(data(100'000)), VANTO_ERROR_NONE);
  for (const std::uint64_t deadline : {std::uint64_t{20'000'000}, generous}) {
    RawPeer peer = RawPeer::greeted("org.example.deadline");
    peer.send({.kind = FrameKind::Request, .id = 1, .deadline = deadline, .length = body.bytes().size()},
              body.bytes().first(limits::ipcInlineBytes));
    // When this is delivered, that frame was read.
    peer.sendObject(FrameKind::Message, 2, text("x"));
    static_cast<void>(late.take());
    const std::uint64_t end = monotonicNow() + 20'000'000;
    while (monotonicNow() < end) std::this_thread::yield();
    peer.send({.kind = FrameKind::Chunk, .id = 1}, body.bytes().subspan(limits::ipcInlineBytes));
    EXPECT_EQ(late.take(), deadline != generous);
  }
}

TEST_F(ConnectionReading, HalfAMessageLeavesNothingBehind) {
  const auto before = openDescriptors();
  {
    RawPeer peer = RawPeer::greeted(name);
    const std::vector<std::uint8_t> chunk(limits::ipcInlineBytes);
    const int null = 0;
    peer.send({.kind = FrameKind::Message, .descriptors = 1, .id = 1, .length = 2 * limits::ipcInlineBytes}, chunk,
              {&null, 1});
  }
  EXPECT_EQ(ends_.await(), (std::vector<vanto_error_code_t>{VANTO_ERROR_CLOSED}));
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ConnectionReading, FramesOfAnotherProcessEndTheConnection) {
  // Somebody who got the socket from the client, or is its child.
  RawPeer ungreeted = RawPeer::connectTo(name);
  ASSERT_TRUE(ungreeted.receive());
  const Process answering({"send-on", "greeting", std::to_string(ungreeted.descriptor())}, {ungreeted.descriptor()});
  EXPECT_EQ(answering.await(), "exit status 0");
  EXPECT_EQ(ungreeted.awaitEnd(), VANTO_ERROR_PROTOCOL);

  RawPeer greeted = RawPeer::greeted(name);
  const Process asking({"send-on", "request", std::to_string(greeted.descriptor())}, {greeted.descriptor()});
  EXPECT_EQ(asking.await(), "exit status 0");
  EXPECT_EQ(greeted.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST_F(ConnectionReading, AServiceThatIsKilledAtAnyStepIsNoticed) {
  for (const char* step : {"after-greeting", "after-answer", "after-request", "half-reply", "after-reply"}) {
    const Process child({"die", step, "org.example.dying"});
    ASSERT_EQ(child.line(), "ready");
    Held connection(vanto_connect("org.example.dying", nullptr, 200'000'000));
    if (vanto_kind(connection) == VANTO_KIND_ERROR) {
      EXPECT_STREQ(step, "after-greeting");
    } else {
      const Held reply = callWith(connection, data(200'000));
      const bool isAnswered = codeOf(reply) == VANTO_ERROR_NONE;
      EXPECT_EQ(isAnswered, step == std::string("after-reply")) << step;
      EXPECT_TRUE(isAnswered || codeOf(reply) == VANTO_ERROR_CLOSED) << step;
      EXPECT_EQ(codeOf(callWith(connection, text("x"))), VANTO_ERROR_CLOSED) << step;
    }
    EXPECT_EQ(child.await(), "signal 9");
  }
}

TEST_F(ConnectionReading, AClientThatIsKilledAtAnyStepIsNoticed) {
  const auto before = openDescriptors();
  std::size_t count = 0;
  for (const char* step : {"connected", "greeted", "answered", "asked", "half-asked", "asked-much"}) {
    const Process child({"die-as-client", step, name});
    EXPECT_EQ(child.await(), "signal 9") << step;
    count += step == std::string("connected") || step == std::string("greeted") ? 0 : 1;
    EXPECT_EQ(ends_.await(count).size(), count) << step;
  }
  // Those that never answered are gone too.
  while (openDescriptors() != before) std::this_thread::yield();
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "ipc/Message.h"

#include "host/ipc/IPCFixture.h"
#include "host/ipc/RawPeer.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.message";

TEST(Message, KnowsItsKindAndBody) {
  const RuntimeDirectory directory;
  Awaited<Held> messages;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) messages.add(Held::share(event));
  });
  const Held connection = connectTo(name);
  ASSERT_EQ(vanto_send(connection, text("x"), 0), VANTO_ERROR_NONE);
  vanto_object_t message = messages.await().at(0);
  EXPECT_STREQ(vanto_string_get_text(vanto_message_get_body(message)), "x");
  EXPECT_FALSE(vanto_message_expects_reply(message));
  EXPECT_FALSE(vanto_message_is_cancelled(message));
  EXPECT_TRUE(vanto_equal(message, message));
  EXPECT_EQ(vanto_send(connection, message, 0), VANTO_ERROR_INVALID);
}

TEST(Message, OutlivesItsConnection) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  Awaited<int> ends;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) {
      requests.add(Held::share(event));
    } else {
      ends.add(1);
    }
  });
  {
    const Held connection = connectTo(name);
    vanto_call_async(connection, text("x"), generous, [](vanto_object_t) {});
    static_cast<void>(requests.await());
  }
  static_cast<void>(ends.await());
  vanto_object_t request = requests.await().at(0);
  EXPECT_TRUE(vanto_message_is_cancelled(request));
  EXPECT_TRUE(vanto_message_expects_reply(request));
  EXPECT_EQ(vanto_reply(request, text("y")), VANTO_ERROR_CLOSED);
  EXPECT_EQ(vanto_reply(request, text("y")), VANTO_ERROR_INVALID);
  EXPECT_STREQ(vanto_string_get_text(vanto_message_get_body(request)), "x");
}

TEST(Message, GivesCreditBackWithTheReplyOrAtItsEnd) {
  const RuntimeDirectory directory;
  Awaited<Held> messages;
  Service service(name, [&](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE && vanto_message_expects_reply(event)) {
      return Service::echo(connection, event);
    }
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) messages.add(Held::share(event));
  });
  RawPeer peer = RawPeer::greeted(name);
  peer.sendObject(FrameKind::Message, 1, text("kept"));
  static_cast<void>(messages.await());
  peer.sendObject(FrameKind::Request, 2, text("x"));
  ASSERT_TRUE(peer.receiveKind(FrameKind::Reply));
  EXPECT_EQ(peer.header().creditMessages, 1U);
  EXPECT_EQ(peer.header().creditBytes, 16U);
  messages.take().reset();
  peer.sendObject(FrameKind::Request, 3, text("x"));
  ASSERT_TRUE(peer.receiveKind(FrameKind::Reply));
  EXPECT_EQ(peer.header().creditMessages, 2U);
  EXPECT_EQ(peer.header().creditBytes, 32U);
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include <VantoService/vanto.h>

#include <atomic>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "host/ipc/IPCFixture.h"
#include "support/OpenDescriptors.h"
#include "value/Fd.h"

/// In ConnectionInC.c; 0 when everything went well, else the line that did not.
extern "C" int runServiceAndClientInC(void);

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

TEST(ConnectionInterface, AnswersACall) {
  const RuntimeDirectory directory;
  const Service service(echo);
  const Held connection = connectTo(echo);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("hello"))), "hello");
}

TEST(ConnectionInterface, AnswersAnAsynchronousCall) {
  const RuntimeDirectory directory;
  const Service service(echo);
  const Held connection = connectTo(echo);
  Awaited<std::string> replies;
  const std::uint64_t call = vanto_call_async(connection, text("hello"), generous,
                                              [&](vanto_object_t reply) { replies.add(vanto_string_get_text(reply)); });
  EXPECT_NE(call, 0U);
  EXPECT_EQ(replies.await().at(0), "hello");
}

TEST(ConnectionInterface, DeliversAMessage) {
  const RuntimeDirectory directory;
  Awaited<std::string> messages;
  std::atomic<bool> expectsReply{true};
  Service service(echo, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    expectsReply = vanto_message_expects_reply(event) || vanto_reply(event, event) != VANTO_ERROR_INVALID;
    messages.add(vanto_string_get_text(vanto_message_get_body(event)));
  });
  const Held connection = connectTo(echo);
  EXPECT_EQ(vanto_send(connection, text("one"), generous), VANTO_ERROR_NONE);
  EXPECT_EQ(vanto_send(connection, text("two"), 0), VANTO_ERROR_NONE);
  EXPECT_EQ(messages.await(2), (std::vector<std::string>{"one", "two"}));
  EXPECT_FALSE(expectsReply);
}

TEST(ConnectionInterface, CallsGoBothWays) {
  const RuntimeDirectory directory;
  Awaited<std::string> answers;
  Service service(echo, [&](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    // From inside the event function, while the client waits for the reply to its own call.
    const Held answer = callWith(connection, text("and you?"));
    answers.add(vanto_string_get_text(answer));
    vanto_reply(event, answer);
  });
  const Held connection = connectTo(echo);
  vanto_connection_set_event_handler(connection, [](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) vanto_reply(event, text("fine"));
  });
  vanto_connection_resume(connection);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("how are you?"))), "fine");
  EXPECT_EQ(answers.await().at(0), "fine");
}

TEST(ConnectionInterface, EveryKindOfObjectTravels) {
  const RuntimeDirectory directory;
  const Service service(echo);
  const Held connection = connectTo(echo);
  const Held values[] = {text(""),
                         Held(vanto_bool_create(true)),
                         Held(vanto_int64_create(INT64_MIN)),
                         Held(vanto_double_create(0.1)),
                         data(1000),
                         Held(vanto_array_create(nullptr, 0)),
                         Held(vanto_dictionary_create(nullptr, nullptr, 0)),
                         Held(vanto_error_create(VANTO_ERROR_FULL, "full"))};
  for (const Held& value : values) EXPECT_TRUE(vanto_equal(callWith(connection, value), value)) << vanto_kind(value);
}

TEST(ConnectionInterface, DescriptorsTravelUpToTheLimit) {
  const RuntimeDirectory directory;
  const Service service(echo);
  const Held connection = connectTo(echo);
  for (const std::size_t count : {1, 15, 16}) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Held writer(vanto_fd_create(ends[1]));
    const Held array(vanto_array_create(nullptr, 0));
    for (std::size_t i = 0; i < count; i++) vanto_array_append_value(array, writer);
    const Held reply = callWith(connection, array);
    ASSERT_EQ(vanto_array_get_count(reply), count);
    for (std::size_t i = 0; i < count; i++) {
      const Fd copy(vanto_fd_copy(vanto_array_get_value(reply, i)));
      ASSERT_TRUE(copy);
      EXPECT_EQ(fcntl(copy.get(), F_GETFD), FD_CLOEXEC);
      EXPECT_EQ(write(copy.get(), "x", 1), 1);
      char byte = 0;
      EXPECT_EQ(read(ends[0], &byte, 1), 1);
      EXPECT_EQ(byte, 'x');
    }
    close(ends[0]);
    close(ends[1]);
  }
  const Held null(vanto_fd_create(0));
  const Held tooMany(vanto_array_create(nullptr, 0));
  for (int i = 0; i < 17; i++) vanto_array_append_value(tooMany, null);
  EXPECT_EQ(codeOf(callWith(connection, tooMany)), VANTO_ERROR_TOO_LARGE);
  EXPECT_EQ(vanto_send(connection, tooMany, 0), VANTO_ERROR_TOO_LARGE);
  // Nothing of it was sent.
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("still there"))), "still there");
}

TEST(ConnectionInterface, SealedMemoryTravelsAsItself) {
  const RuntimeDirectory directory;
  const Service service(echo);
  const Held connection = connectTo(echo);
  const Fd memory(memfd_create("data", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  ASSERT_EQ(ftruncate(memory.get(), 8 << 20), 0);
  ASSERT_EQ(pwrite(memory.get(), "sealed", 6, 0), 6);
  ASSERT_EQ(fcntl(memory.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL), 0);
  const Held sealed(vanto_data_create_with_sealed_fd(memory.get(), 8 << 20));
  const Held reply = callWith(connection, sealed);
  ASSERT_EQ(vanto_data_get_length(reply), std::size_t{8} << 20);
  EXPECT_EQ(std::memcmp(vanto_data_get_bytes_ptr(reply), "sealed", 6), 0);
}

TEST(ConnectionInterface, WrongArgumentsAreRefused) {
  const RuntimeDirectory directory;
  const Service service(echo);
  const Held connection = connectTo(echo);
  const Held string = text("x");
  EXPECT_EQ(vanto_connection_create_listener(nullptr, nullptr), nullptr);
  EXPECT_EQ(codeOf(Held(vanto_connect(nullptr, nullptr, 0))), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_send(connection, nullptr, 0), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_send(nullptr, string, 0), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_send(string, string, 0), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_send(connection, connection, 0), VANTO_ERROR_INVALID);
  EXPECT_EQ(codeOf(callWith(connection, nullptr)), VANTO_ERROR_INVALID);
  EXPECT_EQ(codeOf(callWith(nullptr, string)), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_call_async(
                connection, nullptr, 0, [](vanto_object_t, void*) { FAIL(); }, nullptr),
            0U);
  EXPECT_EQ(vanto_call_async(connection, string, 0, nullptr, nullptr), 0U);
  EXPECT_EQ(vanto_call_async(
                nullptr, string, 0, [](vanto_object_t, void*) { FAIL(); }, nullptr),
            0U);
  EXPECT_EQ(vanto_reply(nullptr, string), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_reply(string, string), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_message_get_body(string), nullptr);
  EXPECT_FALSE(vanto_message_expects_reply(nullptr));
  EXPECT_FALSE(vanto_message_is_cancelled(nullptr));
  vanto_cancel(nullptr, 1);
  vanto_cancel(connection, 12345);
  vanto_close(nullptr);
  vanto_close(string);
  vanto_connection_resume(nullptr);
  vanto_connection_resume(string);
  vanto_connection_set_queue(string, nullptr);
  vanto_connection_set_event_function(string, nullptr, nullptr, nullptr);
  vanto_identity_t identity;
  EXPECT_FALSE(vanto_peer_identity(string, &identity));
  EXPECT_FALSE(vanto_peer_identity(connection, nullptr));
  EXPECT_FALSE(vanto_peer_identity(service.listener(), &identity));
}

TEST(ConnectionInterface, AContextThatFindsNoPlaceIsLetGo) {
  int released = 0;
  vanto_connection_set_event_function(
      nullptr, [](vanto_object_t, vanto_object_t, void*) {}, &released,
      [](void* count) { ++*static_cast<int*>(count); });
  EXPECT_EQ(released, 1);
}

TEST(ConnectionInterface, ANullFunctionTakesAwayTheOneThereWasAndNoContext) {
  const Held listener(vanto_connection_create_listener(echo, nullptr));
  int released = 0;
  int kept = 0;
  const auto function = [](vanto_object_t, vanto_object_t, void*) {
  };
  const auto count = [](void* number) {
    ++*static_cast<int*>(number);
  };
  vanto_connection_set_event_function(listener, function, &released, count);
  EXPECT_EQ(released, 0);
  vanto_connection_set_event_function(listener, nullptr, &kept, count);
  EXPECT_EQ(released, 1);
  vanto_connection_set_event_function(nullptr, nullptr, &kept, count);
  EXPECT_EQ(kept, 0);
}

TEST(ConnectionInterface, BothEndsKnowEachOther) {
  const RuntimeDirectory directory;
  Service service(echo);
  const Held client = connectTo(echo);
  const vanto_object_t accepted = service.connections.await().at(0);
  for (vanto_object_t connection : {static_cast<vanto_object_t>(client), accepted}) {
    vanto_identity_t identity;
    ASSERT_TRUE(vanto_peer_identity(connection, &identity));
    EXPECT_EQ(identity.pid, getpid());
    EXPECT_EQ(identity.uid, geteuid());
    EXPECT_EQ(identity.gid, getegid());
    uid_t effective = 0;
    uid_t real = 0;
    pid_t pid = 0;
    audit_token_to_au32(identity.token, nullptr, &effective, nullptr, &real, nullptr, &pid, nullptr, nullptr);
    EXPECT_EQ(effective, geteuid());
    EXPECT_EQ(real, getuid());
    EXPECT_EQ(pid, getpid());
    EXPECT_NE(identity.token.val[5], 0U);
  }
}

TEST(ConnectionInterface, ARequestIsAnsweredOnce) {
  const RuntimeDirectory directory;
  Awaited<vanto_error_code_t> codes;
  Service service(echo, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    codes.add(vanto_reply(event, nullptr));
    codes.add(vanto_reply(event, event));
    EXPECT_TRUE(vanto_message_expects_reply(event));
    codes.add(vanto_reply(event, text("first")));
    EXPECT_FALSE(vanto_message_expects_reply(event));
    codes.add(vanto_reply(event, text("second")));
  });
  const Held connection = connectTo(echo);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "first");
  EXPECT_EQ(codes.await(4), (std::vector<vanto_error_code_t>{VANTO_ERROR_INVALID, VANTO_ERROR_INVALID, VANTO_ERROR_NONE,
                                                             VANTO_ERROR_INVALID}));
}

TEST(ConnectionInterface, ARequestLetGoIsAnsweredWithAnError) {
  const RuntimeDirectory directory;
  Service service(echo, [](vanto_object_t, vanto_object_t) {});
  const Held connection = connectTo(echo);
  EXPECT_EQ(codeOf(callWith(connection, text("x"))), VANTO_ERROR_NO_REPLY);
}

TEST(ConnectionInterface, ARequestMayBeAnsweredLaterFromAnotherThread) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  Service service(echo, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) requests.add(Held::share(event));
  });
  const Held connection = connectTo(echo);
  std::thread answering([&] { vanto_reply(requests.await().at(0), text("later")); });
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "later");
  answering.join();
}

TEST(ConnectionInterface, ClosingEndsOutstandingCalls) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  Service service(echo, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) requests.add(Held::share(event));
  });
  const Held connection = connectTo(echo);
  Awaited<vanto_error_code_t> codes;
  vanto_call_async(connection, text("x"), generous, [&](vanto_object_t reply) { codes.add(codeOf(reply)); });
  std::thread waiting([&] { codes.add(codeOf(callWith(connection, text("y")))); });
  static_cast<void>(requests.await(2));
  vanto_close(connection);
  waiting.join();
  EXPECT_EQ(codes.await(2), (std::vector<vanto_error_code_t>{VANTO_ERROR_CANCELLED, VANTO_ERROR_CANCELLED}));
  EXPECT_EQ(codeOf(callWith(connection, text("z"))), VANTO_ERROR_CLOSED);
  EXPECT_EQ(vanto_send(connection, text("z"), 0), VANTO_ERROR_CLOSED);
  EXPECT_EQ(vanto_call_async(
                connection, text("z"), 0, [](vanto_object_t, void*) {}, nullptr),
            0U);
  vanto_close(connection);
}

TEST(ConnectionInterface, ClosingSendsWhatWasQueued) {
  const RuntimeDirectory directory;
  Awaited<std::size_t> sizes;
  Service service(echo, [&](vanto_object_t, vanto_object_t event) {
    sizes.add(vanto_data_get_length(vanto_message_get_body(event)));
  });
  Held connection = connectTo(echo);
  // Far more than a socket takes at once.
  EXPECT_EQ(vanto_send(connection, data(20 << 20), 0), VANTO_ERROR_NONE);
  vanto_close(connection);
  connection.reset();
  EXPECT_EQ(sizes.await(2), (std::vector<std::size_t>{20 << 20, 0}));
}

TEST(ConnectionInterface, TheLastEventIsAnErrorAndComesOnce) {
  const RuntimeDirectory directory;
  Awaited<vanto_error_code_t> atService;
  Awaited<int> released;
  Service service(echo, [&](vanto_object_t, vanto_object_t event) { atService.add(codeOf(event)); });
  Awaited<vanto_error_code_t> atClient;
  struct Context {
    Awaited<vanto_error_code_t>& events;
    Awaited<int>& released;
  } context{atClient, released};
  Held connection = connectTo(echo);
  vanto_connection_set_event_function(
      connection,
      [](vanto_object_t, vanto_object_t event, void* self) { static_cast<Context*>(self)->events.add(codeOf(event)); },
      &context, [](void* self) { static_cast<Context*>(self)->released.add(1); });
  vanto_connection_resume(connection);
  vanto_connection_resume(connection);
  vanto_close(connection);
  vanto_close(connection);
  EXPECT_EQ(atClient.await(), (std::vector<vanto_error_code_t>{VANTO_ERROR_CANCELLED}));
  EXPECT_EQ(atService.await(), (std::vector<vanto_error_code_t>{VANTO_ERROR_CLOSED}));
  static_cast<void>(released.await());
  connection.reset();
  EXPECT_EQ(released.count(), 1U);
  EXPECT_EQ(atClient.count(), 1U);
}

TEST(ConnectionInterface, LettingTheLastReferenceGoClosesTheConnection) {
  const RuntimeDirectory directory;
  Awaited<vanto_error_code_t> atService;
  Service service(echo, [&](vanto_object_t, vanto_object_t event) { atService.add(codeOf(event)); });
  Held connection = connectTo(echo);
  Awaited<int> released;
  vanto_connection_set_event_function(
      connection, [](vanto_object_t, vanto_object_t, void*) {}, &released,
      [](void* self) { static_cast<Awaited<int>*>(self)->add(1); });
  vanto_connection_resume(connection);
  Held second = Held::share(connection);
  connection.reset();
  EXPECT_EQ(vanto_send(second, text("x"), 0), VANTO_ERROR_NONE);
  second.reset();
  EXPECT_EQ(atService.await(2).back(), VANTO_ERROR_CLOSED);
  static_cast<void>(released.await());
}

TEST(ConnectionInterface, AContextIsLetGoWithAConnectionThatWasNeverResumed) {
  const RuntimeDirectory directory;
  const Service service(echo);
  Held connection = connectTo(echo);
  Awaited<int> released;
  vanto_connection_set_event_function(
      connection, [](vanto_object_t, vanto_object_t, void*) {}, &released,
      [](void* self) { static_cast<Awaited<int>*>(self)->add(1); });
  connection.reset();
  EXPECT_EQ(released.await().size(), 1U);
}

TEST(ConnectionInterface, AnotherHandlerTakesTheFirstOnesPlace) {
  const RuntimeDirectory directory;
  const Service service(echo);
  const Held connection = connectTo(echo);
  int released = 0;
  vanto_connection_set_event_function(
      connection, [](vanto_object_t, vanto_object_t, void*) { FAIL(); }, &released,
      [](void* count) { ++*static_cast<int*>(count); });
  Awaited<vanto_error_code_t> events;
  vanto_connection_set_event_handler(connection,
                                     [&](vanto_object_t, vanto_object_t event) { events.add(codeOf(event)); });
  EXPECT_EQ(released, 1);
  vanto_connection_resume(connection);
  vanto_close(connection);
  EXPECT_EQ(events.await().at(0), VANTO_ERROR_CANCELLED);
}

TEST(ConnectionInterface, AConnectionThatTheServiceNeitherResumesNorKeepsEnds) {
  const RuntimeDirectory directory;
  const Held listener(vanto_connection_create_listener(echo, nullptr));
  Awaited<vanto_kind_t> events;
  vanto_connection_set_event_handler(listener,
                                     [&](vanto_object_t, vanto_object_t event) { events.add(vanto_kind(event)); });
  vanto_connection_resume(listener);
  const Held connection = connectTo(echo);
  EXPECT_EQ(codeOf(callWith(connection, text("x"))), VANTO_ERROR_CLOSED);
  vanto_close(listener);
  EXPECT_EQ(events.await(2), (std::vector<vanto_kind_t>{VANTO_KIND_CONNECTION, VANTO_KIND_ERROR}));
}

TEST(ConnectionInterface, ADescriptorIsFreeAgainAfterEachConnection) {
  const RuntimeDirectory directory;
  Awaited<int> ends;
  Service service(echo, [&](vanto_object_t connection, vanto_object_t event) {
    Service::echo(connection, event);
    if (vanto_kind(event) == VANTO_KIND_ERROR) ends.add(1);
  });
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(echo), text("x"))), "x");
  static_cast<void>(ends.await(1));
  const auto before = openDescriptors();
  for (int i = 0; i < 1000; i++) {
    ASSERT_STREQ(vanto_string_get_text(callWith(connectTo(echo), text("x"))), "x");
  }
  static_cast<void>(ends.await(1001));
  EXPECT_EQ(openDescriptors(), before);
}

TEST(ConnectionInterface, AConnectionWorksFromC) {
  const RuntimeDirectory directory;
  EXPECT_EQ(runServiceAndClientInC(), 0);
}

}  // namespace
}  // namespace vanto::test

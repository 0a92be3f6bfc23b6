// SPDX-License-Identifier: Apache-2.0
#include "ipc/Endpoint.h"

#include <atomic>
#include <thread>

#include "host/ipc/IPCFixture.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.endpoint";

TEST(Endpoint, IsAListenerOrAConnection) {
  const RuntimeDirectory directory;
  const Service service(name);
  const Held connection = connectTo(name);
  EXPECT_NE(asEndpoint(connection), nullptr);
  EXPECT_NE(asEndpoint(service.listener()), nullptr);
  EXPECT_EQ(asEndpoint(text("x")), nullptr);
  EXPECT_EQ(asEndpoint(nullptr), nullptr);
}

TEST(Endpoint, ErrorsHaveTheirOwnTextOrAnotherOne) {
  const auto own = errorObject(VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_error_get_text(own.get()), vanto_error_text(VANTO_ERROR_FULL));
  const auto other = errorObject(VANTO_ERROR_SYSTEM, "recvmsg failed");
  EXPECT_EQ(vanto_error_get_code(other.get()), VANTO_ERROR_SYSTEM);
  EXPECT_STREQ(vanto_error_get_text(other.get()), "recvmsg failed");
}

TEST(Endpoint, AHandlerMayLetItsConnectionGo) {
  const RuntimeDirectory directory;
  Service service(name, [](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) vanto_send(connection, text("news"), 0);
  });
  Awaited<int> released;
  struct Owner {
    Held connection;
    Awaited<int>& released;
  };
  auto* owner = new Owner{connectTo(name), released};
  vanto_connection_set_event_function(
      owner->connection,
      [](vanto_object_t connection, vanto_object_t event, void* context) {
        if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
        static_cast<Owner*>(context)->connection.reset();
        // It is still there as long as the handler runs, and may even be kept.
        const Held kept = Held::share(connection);
        EXPECT_EQ(vanto_send(kept, text("x"), 0), VANTO_ERROR_CLOSED);
      },
      owner,
      [](void* context) {
        static_cast<Owner*>(context)->released.add(1);
        delete static_cast<Owner*>(context);
      });
  vanto_connection_resume(owner->connection);
  EXPECT_EQ(vanto_send(owner->connection, text("x"), 0), VANTO_ERROR_NONE);
  EXPECT_EQ(released.await().size(), 1U);
}

TEST(Endpoint, ReferencesMayComeAndGoOnManyThreads) {
  const RuntimeDirectory directory;
  const Service service(name);
  for (int round = 0; round < 50; round++) {
    Held connection = connectTo(name);
    vanto_connection_set_event_handler(
        connection, [](vanto_object_t self, vanto_object_t) { const Held kept = Held::share(self); });
    vanto_connection_resume(connection);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
      threads.emplace_back([held = Held::share(connection)] {
        for (int call = 0; call < 5; call++) callWith(held, text("x"));
      });
    }
    connection.reset();
    for (std::thread& thread : threads) thread.join();
  }
}

TEST(Endpoint, EventsOfOneConnectionComeOneAtATime) {
  const RuntimeDirectory directory;
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  Awaited<int> messages;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (++running != 1) overlapped = true;
    std::this_thread::yield();
    running--;
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) messages.add(1);
  });
  const Held connection = connectTo(name);
  for (int i = 0; i < 2000; i++) ASSERT_EQ(vanto_send(connection, text("x"), generous), VANTO_ERROR_NONE);
  EXPECT_EQ(messages.await(2000).size(), 2000U);
  EXPECT_FALSE(overlapped);
}

TEST(Endpoint, WhatWaitsForAConnectionToBeResumedComesOnAnotherThread) {
  const RuntimeDirectory directory;
  Service service(name, [](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    for (int i = 0; i < 2; i++) EXPECT_EQ(vanto_send(connection, text("news"), 0), VANTO_ERROR_NONE);
    Service::echo(connection, event);
  });
  const Held connection = connectTo(name);
  Awaited<std::thread::id> threads;
  vanto_connection_set_event_handler(connection, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) threads.add(std::this_thread::get_id());
  });
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
  vanto_connection_resume(connection);
  for (const std::thread::id thread : threads.await(2)) EXPECT_NE(thread, std::this_thread::get_id());
  vanto_close(connection);
}

TEST(Endpoint, TheErrorOfAListenerComesOnAnotherThread) {
  const RuntimeDirectory directory;
  const Held listener(vanto_connection_create_listener("", nullptr));
  Awaited<std::thread::id> threads;
  vanto_connection_set_event_handler(listener,
                                     [&](vanto_object_t, vanto_object_t) { threads.add(std::this_thread::get_id()); });
  vanto_connection_resume(listener);
  EXPECT_NE(threads.await().at(0), std::this_thread::get_id());
}

TEST(Endpoint, RepliesComeBeforeAConnectionIsResumed) {
  const RuntimeDirectory directory;
  Service service(name, [](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    vanto_send(connection, text("news"), 0);
    Service::echo(connection, event);
  });
  const Held connection = connectTo(name);
  Awaited<std::string> order;
  vanto_connection_set_event_handler(connection, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) order.add("news");
  });
  vanto_call_async(connection, text("x"), generous, [&](vanto_object_t) { order.add("reply"); });
  EXPECT_EQ(order.await(), (std::vector<std::string>{"reply"}));
  vanto_connection_resume(connection);
  EXPECT_EQ(order.await(2), (std::vector<std::string>{"reply", "news"}));
  vanto_close(connection);
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "ipc/Listener.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.listener";

TEST(Listener, GreetsWithoutANonceWhenNobodyIsJudged) {
  const RuntimeDirectory directory;
  const Service service(name);
  RawPeer peer = RawPeer::connectTo(name);
  ASSERT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().flags, 0);
  EXPECT_EQ(peer.sender().pid, getpid());
  Greeting greeting;
  ASSERT_TRUE(decodeGreeting(peer.payload().data(), greeting));
  EXPECT_EQ(greeting.lowestVersion, 1);
  EXPECT_EQ(greeting.highestVersion, 1);
  EXPECT_EQ(greeting.windowMessages, 256U);
  EXPECT_EQ(greeting.windowBytes, std::uint32_t{1} << 20);
}

TEST(Listener, AnswersThatOfferAnotherVersionAreRefused) {
  const RuntimeDirectory directory;
  const Service service(name);
  for (const auto& [lowest, highest] : {std::pair{1, 2}, std::pair{2, 2}}) {
    RawPeer peer = RawPeer::connectTo(name);
    ASSERT_TRUE(peer.receive());
    peer.sendGreeting(FrameKind::Answer, {.lowestVersion = static_cast<std::uint8_t>(lowest),
                                          .highestVersion = static_cast<std::uint8_t>(highest),
                                          .windowMessages = 1,
                                          .windowBytes = 1});
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
  }
}

TEST(Listener, AdmitsSoManyConnectionsOfOneUser) {
  const RuntimeDirectory directory;
  Service service(name);
  vanto_set_connections_per_user(3);
  std::vector<Held> connections;
  for (int i = 0; i < 3; i++) connections.push_back(connectTo(name));
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  connections.pop_back();
  // The place is free when the service has noticed.
  Held again;
  do again = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(again) == VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_string_get_text(callWith(again, text("x"))), "x");
  vanto_set_connections_per_user(0);
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_string_get_text(callWith(again, text("x"))), "x");
  vanto_set_connections_per_user(limits::ipcConnectionsPerUser);
}

TEST(Listener, APeerThatDoesNotAnswerTakesAPlaceUntilItGoes) {
  const RuntimeDirectory directory;
  const Service service(name);
  vanto_set_connections_per_user(1);
  {
    RawPeer silent = RawPeer::connectTo(name);
    ASSERT_TRUE(silent.receive());
    EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  }
  Held next;
  do next = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(next) == VANTO_ERROR_FULL);
  vanto_set_connections_per_user(limits::ipcConnectionsPerUser);
  EXPECT_STREQ(vanto_string_get_text(callWith(next, text("x"))), "x");
}

TEST(Listener, APeerThatDoesNotAnswerIsGivenUpAfterAWhile) {
  const RuntimeDirectory directory;
  Service service(name);
  const std::uint64_t start = monotonicNow();
  RawPeer silent = RawPeer::connectTo(name);
  ASSERT_TRUE(silent.receive());
  EXPECT_FALSE(silent.receive());
  EXPECT_GE(monotonicNow() - start, limits::ipcGreetingNanoseconds);
  EXPECT_LT(monotonicNow() - start, limits::ipcGreetingNanoseconds * 8 / 5);
  EXPECT_EQ(service.connections.count(), 0U);
}

/// Connects to a service until it has no descriptors left.
void exhaust(std::vector<std::string> arguments) {
  const Process child(std::move(arguments), {}, [] {
    // Those of the standard streams, the listener, the workers, and no more than a few.
    const rlimit few{16, 16};
    setrlimit(RLIMIT_NOFILE, &few);
  });
  ASSERT_EQ(child.line(), "ready");
  std::vector<Held> connections;
  vanto_error_code_t code = VANTO_ERROR_NONE;
  while (code == VANTO_ERROR_NONE && connections.size() < 100) {
    connections.emplace_back(vanto_connect(name, nullptr, generous));
    code = codeOf(connections.back());
  }
  EXPECT_EQ(code, VANTO_ERROR_FULL);
  EXPECT_LT(connections.size(), 16U);
  // Who was admitted is served, and there is room again when one goes.
  EXPECT_STREQ(vanto_string_get_text(callWith(connections[0], text("x"))), "x");
  connections.resize(1);
  Held next;
  do next = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(next) == VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_string_get_text(callWith(next, text("y"))), "y");
}

TEST(Listener, TurnsClientsAwayWhenThereAreNoDescriptors) {
  const RuntimeDirectory directory;
  exhaust({"serve", name});
}

TEST(Listener, TurnsClientsAwayWhenThereAreNoDescriptorsToJudgeThem) {
  const RuntimeDirectory directory;
  exhaust({"serve-judged", "by-code", name});
}

TEST(Listener, TellsWhenItsNameIsInUse) {
  const RuntimeDirectory directory;
  const Service service(name);
  Service second(name);
  EXPECT_EQ(second.errors.await().at(0), VANTO_ERROR_IN_USE);
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
}

TEST(Listener, TellsWhenItsNameIsNone) {
  const RuntimeDirectory directory;
  for (const std::string& bad : {std::string(), std::string(256, 'x'), std::string("\xFF")}) {
    Service service(bad.c_str());
    EXPECT_EQ(service.errors.await().at(0), VANTO_ERROR_NAME);
  }
}

TEST(Listener, GivesItsNameBackWhenItIsClosed) {
  const RuntimeDirectory directory;
  for (int i = 0; i < 3; i++) {
    const Service service(name);
    EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
  }
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_NO_SERVICE);
  EXPECT_NE(access(directory.socketPath(name).c_str(), F_OK), 0);
}

TEST(Listener, OpenConnectionsOutliveIt) {
  const RuntimeDirectory directory;
  std::optional<Service> service(std::in_place, name);
  const Held connection = connectTo(name);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
  vanto_close(service->listener());
  static_cast<void>(service->errors.await());
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("y"))), "y");
}

TEST(Listener, NothingHappensBeforeItIsResumed) {
  const RuntimeDirectory directory;
  const Held listener(vanto_connection_create_listener(name, nullptr));
  EXPECT_EQ(vanto_kind(listener), VANTO_KIND_LISTENER);
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_NO_SERVICE);
}

TEST(Listener, ServesOnTheGivenQueue) {
  const RuntimeDirectory directory;
  dispatch_queue_t queue = dispatch_queue_create("serving", nullptr);
  const Held listener(vanto_connection_create_listener(name, queue));
  std::atomic<int> running{0};
  std::atomic<int> most{0};
  Awaited<int> ends;
  vanto_connection_set_event_handler(listener, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_CONNECTION) return ends.add(0);
    vanto_connection_set_event_handler(event, [&](vanto_object_t connection, vanto_object_t message) {
      most = std::max(most.load(), ++running);
      Service::echo(connection, message);
      running--;
      if (vanto_kind(message) == VANTO_KIND_ERROR) ends.add(1);
    });
    vanto_connection_resume(event);
  });
  vanto_connection_resume(listener);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; i++) {
    threads.emplace_back([&] {
      const Held connection = connectTo(name);
      for (int call = 0; call < 200; call++) callWith(connection, text("x"));
    });
  }
  for (std::thread& thread : threads) thread.join();
  vanto_close(listener);
  static_cast<void>(ends.await(5));
  EXPECT_EQ(most, 1);
  dispatch_queue_release(queue);
}

TEST(Listener, AServiceFinishesWhatItHoldsWhenAskedToEnd) {
  const RuntimeDirectory directory;
  int gate[2];
  ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
  const Process child({"serve-until-terminated", name}, {}, [&] { dup2(gate[0], STDIN_FILENO); });
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  Awaited<std::size_t> replies;
  vanto_call_async(connection, text("x"), generous,
                   [&](vanto_object_t reply) { replies.add(vanto_data_get_length(reply)); });
  EXPECT_EQ(child.line(), "got one");
  child.signal(SIGTERM);
  // It stops accepting before it is done.
  Held other;
  do other = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(other) == VANTO_ERROR_NONE);
  EXPECT_EQ(codeOf(other), VANTO_ERROR_NO_SERVICE);
  EXPECT_EQ(write(gate[1], "x", 1), 1);
  EXPECT_EQ(replies.await().at(0), std::size_t{3} << 20);
  EXPECT_EQ(child.await(), "exit status 0");
  close(gate[0]);
  close(gate[1]);
}

TEST(Listener, AHandlerThatRunsReturnsBeforeTheProcessEnds) {
  const RuntimeDirectory directory;
  for (const std::string what : {"message", "connection", "reply"}) {
    Gate gate;
    const Process child({"end-during", what, name}, {}, [&] { gate.becomeInput(); });
    Held connection;
    Awaited<std::string> replies;
    if (what == "reply") {
      // It calls itself.
      std::vector<std::string> lines{child.line(), child.line()};
      std::sort(lines.begin(), lines.end());
      ASSERT_EQ(lines, (std::vector<std::string>{"entered", "ready"}));
    } else {
      ASSERT_EQ(child.line(), "ready");
      connection = connectTo(name);
      vanto_call_async(connection, text("x"), generous, [&](vanto_object_t reply) {
        replies.add(vanto_kind(reply) == VANTO_KIND_STRING ? vanto_string_get_text(reply) : "error");
      });
      ASSERT_EQ(child.line(), "entered");
    }
    child.signal(SIGTERM);
    ASSERT_EQ(child.line(), "ending") << what;
    if (what == "message") {
      EXPECT_EQ(replies.await().at(0), "x");
    }
    gate.open();
    EXPECT_EQ(child.line(), "left") << what;
    EXPECT_EQ(child.await(), "exit status 0");
    if (connection) static_cast<void>(replies.await());
  }
}

TEST(Listener, IsClosedFromTheStartInAProcessThatWasAskedToEnd) {
  const RuntimeDirectory directory;
  Gate gate;
  const Process child({"listen-too-late", name, "org.example.late"}, {}, [&] { gate.becomeInput(); });
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  Awaited<int> replies;
  vanto_call_async(connection, text("x"), generous, [&](vanto_object_t) { replies.add(0); });
  ASSERT_EQ(child.line(), "got one");
  child.signal(SIGTERM);
  ASSERT_EQ(child.line(), "resumed");
  EXPECT_EQ(codeOf(Held(vanto_connect("org.example.late", nullptr, generous))), VANTO_ERROR_NO_SERVICE);
  gate.open();
  static_cast<void>(replies.await());
  EXPECT_EQ(child.await(), "exit status 0");
}

TEST(Listener, AwaitsItsEndThoughAnEarlierOneCouldNot) {
  const RuntimeDirectory directory;
  const Process child({"listen-twice", name});
  ASSERT_EQ(child.line(), std::to_string(VANTO_ERROR_SYSTEM) + " ready");
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
  child.signal(SIGTERM);
  EXPECT_EQ(child.await(), "exit status 0");
}

TEST(Listener, AnIdleServiceEndsAtOnceWhenAskedTo) {
  const RuntimeDirectory directory;
  const Process child({"serve", name});
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
  child.signal(SIGTERM);
  EXPECT_EQ(child.await(), "exit status 0");
  EXPECT_NE(access(directory.socketPath(name).c_str(), F_OK), 0);
}

TEST(Listener, AServiceThatIsAcceptingWhenAskedToEndStillRemovesItsName) {
  const RuntimeDirectory directory;
  const Gate gate;
  const Process child({"serve-judged", "lingering", name}, {}, [&] { gate.becomeInput(); });
  ASSERT_EQ(child.line(), "ready");
  const RawPeer client = RawPeer::connectTo(name);
  ASSERT_EQ(child.line(), "entered");
  child.signal(SIGTERM);
  ASSERT_EQ(child.line(), "ending");
  EXPECT_EQ(access(directory.socketPath(name).c_str(), F_OK), 0);
  gate.open();
  EXPECT_EQ(child.line(), "left");
  EXPECT_EQ(child.await(), "exit status 0");
  EXPECT_NE(access(directory.socketPath(name).c_str(), F_OK), 0);
}

TEST(Listener, ServesInAProcessWithOneThread) {
  const RuntimeDirectory directory;
  const Process child({"serve-alone", name});
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  const Held other = connectTo(name);
  EXPECT_STREQ(vanto_string_get_text(callWith(other, text("x"))), "x");
  EXPECT_EQ(codeOf(callWith(connection, text("threads"))), VANTO_ERROR_NONE);
  EXPECT_EQ(child.line(), "no more");
  child.signal(SIGTERM);
  EXPECT_EQ(child.await(), "exit status 0");
}

TEST(Listener, AHandlerThatThrowsAbortsTheProcess) {
  const RuntimeDirectory directory;
  const Process child({"serve", name});
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  EXPECT_EQ(codeOf(callWith(connection, text("throw"))), VANTO_ERROR_CLOSED);
  EXPECT_EQ(child.await(), "signal 6");
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "ipc/ManagerLink.h"

#include <optional>
#include <string>
#include <thread>

#include <sys/file.h>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/ManagerEnd.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "host/ipc/SocketPair.h"
#include "ipc/ManagerRecord.h"
#include "ipc/WireBytes.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.managed";
const std::string names = std::string(name) + ":.manager";

constexpr std::uint64_t period = 30'000'000;
constexpr std::uint64_t never = 0;

/// A process that a manager has started.
struct Managed {
  Managed(int socket, std::vector<std::string> arguments, std::uint64_t idlePeriod = never)
      : manager(idlePeriod), process(std::move(arguments), {}, handOver({socket, manager.theirs()}, names.c_str())) {
    manager.letTheirsGo();
  }

  ManagerEnd manager;
  const Process process;
};

Managed serve(const Fd& listener, const char* mode = "serve", std::uint64_t idlePeriod = never) {
  return {listener.get(), {mode, name}, idlePeriod};
}

void expectEcho(vanto_object_t connection) {
  const Held reply = callWith(connection, text("x"));
  EXPECT_EQ(vanto_kind(reply), VANTO_KIND_STRING);
  if (vanto_kind(reply) == VANTO_KIND_STRING) {
    EXPECT_STREQ(vanto_string_get_text(reply), "x");
  }
}

TEST(ManagerLink, SaysWhatBecomesOfTheService) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Managed service = serve(listener);
  EXPECT_EQ(service.manager.next(), "listening");
  for (int i = 0; i < 3; i++) expectEcho(connectTo(name));
  EXPECT_EQ(service.manager.next(), "greeted");
  service.process.signal(SIGTERM);
  EXPECT_EQ(service.manager.next(), "stopped");
  EXPECT_EQ(service.manager.next(), "end");
  EXPECT_EQ(service.process.await(), "exit status 0");
}

TEST(ManagerLink, SaysWhenTheProgramStopsListening) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Managed service = serve(listener);
  ASSERT_EQ(service.process.line(), "ready");
  const Held connection = connectTo(name);
  EXPECT_EQ(vanto_send(connection, text("stop listening"), generous), VANTO_ERROR_NONE);
  EXPECT_EQ(service.manager.next(), "listening");
  EXPECT_EQ(service.manager.next(), "greeted");
  EXPECT_EQ(service.manager.next(), "stopped");
  expectEcho(connection);
}

TEST(ManagerLink, SaysNothingOfSocketsThatAreNotTheManagers) {
  const RuntimeDirectory directory;
  ManagerEnd manager;
  const Process process({"serve", name}, {}, handOver({manager.theirs()}, ".manager"));
  manager.letTheirsGo();
  ASSERT_EQ(process.line(), "ready");
  expectEcho(connectTo(name));
  EXPECT_EQ(manager.next(), "greeted");
  process.signal(SIGTERM);
  EXPECT_EQ(manager.next(), "end");
}

TEST(ManagerLink, IsNotIdleBeforeItListens) {
  const RuntimeDirectory directory;
  const Fd domain = openOrCreateUserDomain();
  // As long as somebody has the directory, nobody binds a name in it.
  ASSERT_EQ(flock(domain.get(), LOCK_EX), 0);
  ManagerEnd manager(1'000'000);
  const Process process({"serve-tracked", name}, {}, handOver({manager.theirs()}, ".manager"));
  manager.letTheirsGo();
  EXPECT_FALSE(manager.says(100));
  ASSERT_EQ(flock(domain.get(), LOCK_UN), 0);
  ASSERT_EQ(process.line(), "ready");
  EXPECT_EQ(manager.next(), "idle");
}

TEST(ManagerLink, LeavesWhenItIsIdleAndMay) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const std::uint64_t start = monotonicNow();
  const Managed service = serve(listener, "serve-tracked", period);
  EXPECT_EQ(service.manager.next(), "listening");
  EXPECT_EQ(service.manager.next(), "idle");
  EXPECT_GE(monotonicNow() - start, period);
  service.manager.send(ManagerRecordKind::Leave);
  EXPECT_EQ(service.manager.next(), "stopped");
  EXPECT_EQ(service.process.await(), "exit status 0");
}

TEST(ManagerLink, IsIdleSoLongAfterTheLastClientHasGone) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Managed service = serve(listener, "serve-tracked", period);
  EXPECT_EQ(service.manager.next(), "listening");
  Held connection = connectTo(name);
  const std::uint64_t end = deadlineAfter(3 * period);
  while (monotonicNow() < end) expectEcho(connection);
  const std::uint64_t gone = monotonicNow();
  connection.reset();
  std::string said = service.manager.next();
  // It may have been idle before the client came.
  if (said == "idle") said = service.manager.next();
  EXPECT_EQ(said, "greeted");
  EXPECT_EQ(service.manager.next(), "idle");
  EXPECT_GE(monotonicNow() - gone, period);
}

TEST(ManagerLink, StaysWhereSomebodyHasCome) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Managed service = serve(listener, "serve-tracked", period);
  EXPECT_EQ(service.manager.next(), "listening");
  EXPECT_EQ(service.manager.next(), "idle");
  Held connection = connectTo(name);
  service.manager.send(ManagerRecordKind::Leave);
  for (int i = 0; i < 10; i++) expectEcho(connection);
  EXPECT_EQ(service.manager.next(), "greeted");
  const std::uint64_t gone = monotonicNow();
  connection.reset();
  EXPECT_EQ(service.manager.next(), "idle");
  EXPECT_GE(monotonicNow() - gone, period);
  service.manager.send(ManagerRecordKind::Leave);
  EXPECT_EQ(service.manager.next(), "stopped");
  EXPECT_EQ(service.process.await(), "exit status 0");
}

TEST(ManagerLink, AsksAgainAfterEachClientThoughNobodyAnswers) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Managed service = serve(listener, "serve-tracked", period);
  EXPECT_EQ(service.manager.next(), "listening");
  EXPECT_EQ(service.manager.next(), "idle");
  expectEcho(connectTo(name));
  EXPECT_EQ(service.manager.next(), "greeted");
  EXPECT_EQ(service.manager.next(), "idle");
  expectEcho(connectTo(name));
  EXPECT_EQ(service.manager.next(), "idle");
}

TEST(ManagerLink, IsNotIdleWhileARequestIsInHand) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Managed service = serve(listener, "serve-tracked", 1'000'000);
  EXPECT_EQ(service.manager.next(), "listening");
  EXPECT_EQ(service.manager.next(), "idle");
  Held connection = connectTo(name);
  ASSERT_EQ(service.process.line(), "ready");
  EXPECT_NE(vanto_call_async(connection, text("slow"), generous, [](vanto_object_t) {}), 0U);
  ASSERT_EQ(service.process.line(), "slow");
  EXPECT_EQ(service.manager.next(), "greeted");
  // Its client has gone, but the service still has the request.
  connection.reset();
  for (int i = 0; i < 20; i++) service.manager.send(ManagerRecordKind::Leave);
  connection = connectTo(name);
  expectEcho(connection);
  expectEcho(connection);
  callWith(connection, text("finish"));
  connection.reset();
  EXPECT_EQ(service.manager.next(), "idle");
}

TEST(ManagerLink, IsNeverIdleUnlessBothSidesWantThat) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  for (const bool isTracked : {false, true}) {
    const Managed service = serve(listener, isTracked ? "serve-tracked" : "serve", isTracked ? never : 1);
    EXPECT_EQ(service.manager.next(), "listening");
    for (int i = 0; i < 20; i++) {
      service.manager.send(ManagerRecordKind::Leave);
      expectEcho(connectTo(name));
    }
    EXPECT_EQ(service.manager.next(), "greeted");
    service.process.signal(SIGTERM);
    EXPECT_EQ(service.manager.next(), "stopped");
  }
}

TEST(ManagerLink, IgnoresWhatItDoesNotKnow) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Managed service = serve(listener, "serve-tracked", period);
  EXPECT_EQ(service.manager.next(), "listening");
  service.manager.send(ManagerRecordKind{3});
  service.manager.send(ManagerRecordKind::Stopped);
  for (const std::size_t size : {0, 1, 15, 17, 4000}) service.manager.sendBytes(std::vector<std::uint8_t>(size, 2));
  EXPECT_EQ(service.manager.next(), "idle");
  service.manager.send(ManagerRecordKind::Leave);
  EXPECT_EQ(service.manager.next(), "stopped");
}

/// Clients come at the very moment at which the service leaves: each is served by this process or by the next one.
TEST(ManagerLink, LosesNobodyWhenItLeaves) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  constexpr int rounds = 40;
  const std::vector<std::string> arguments{"serve-tracked", name};
  std::optional<Managed> service;
  service.emplace(listener.get(), arguments, 1'000'000);
  EXPECT_EQ(service->manager.next(), "listening");
  int left = 0;
  // It says that it is idle at the beginning, and once after each client or order that kept it from leaving.
  std::string said = service->manager.next();
  for (int round = 0; round < rounds; round++) {
    ASSERT_EQ(said, "idle");
    std::thread client([] { expectEcho(connectTo(name)); });
    // From before the client has connected to after it was accepted.
    const std::uint64_t pause = deadlineAfter(static_cast<std::uint64_t>(round) * 5'000);
    while (monotonicNow() < pause) std::this_thread::yield();
    // It may have left by the order before this one, which then came when it was idle once more.
    static_cast<void>(service->manager.trySend(ManagerRecordKind::Leave));
    do said = service->manager.next();
    while (said == "greeted");
    if (said == "stopped") {
      // It may have been about to say once more that it is idle.
      do said = service->manager.next();
      while (said == "idle");
      EXPECT_EQ(said, "end");
      EXPECT_EQ(service->process.await(), "exit status 0");
      service.emplace(listener.get(), arguments, 1'000'000);
      EXPECT_EQ(service->manager.next(), "listening");
      do said = service->manager.next();
      while (said == "greeted");
      left++;
    }
    client.join();
  }
  RecordProperty("left", left);
}

TEST(ManagerLink, EndsTheServiceWithItsManager) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  Managed service = serve(listener);
  EXPECT_EQ(service.manager.next(), "listening");
  const Held connection = connectTo(name);
  expectEcho(connection);
  service.manager.close();
  EXPECT_EQ(service.process.await(), "exit status 0");
  EXPECT_EQ(codeOf(callWith(connection, text("x"))), VANTO_ERROR_CLOSED);
}

TEST(ManagerLink, FinishesWhatItHoldsWhenItsManagerIsGone) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Gate gate;
  ManagerEnd manager;
  const auto prepare = handOver({listener.get(), manager.theirs()}, names.c_str());
  const Process process({"serve-until-terminated", name}, {}, [&] {
    gate.becomeInput();
    prepare();
  });
  manager.letTheirsGo();
  ASSERT_EQ(process.line(), "ready");
  const Held connection = connectTo(name);
  Awaited<std::size_t> replies;
  vanto_call_async(connection, text("x"), generous,
                   [&](vanto_object_t reply) { replies.add(vanto_data_get_length(reply)); });
  ASSERT_EQ(process.line(), "got one");
  manager.close();
  gate.open();
  EXPECT_EQ(replies.await().at(0), std::size_t{3} << 20);
  EXPECT_EQ(process.await(), "exit status 0");
}

/// A client whose connection its instance gets.
struct Instance {
  Instance(const Fd& listener, std::vector<std::string> arguments) {
    std::thread connecting([this] { connection = Held(vanto_connect(name, nullptr, generous)); });
    pollfd set{listener.get(), POLLIN, 0};
    EXPECT_EQ(poll(&set, 1, 60'000), 1);
    const Fd accepted(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    service.emplace(accepted.get(), std::move(arguments));
    connecting.join();
  }

  std::optional<Managed> service;
  Held connection;
};

TEST(ManagerLink, AnInstanceServesItsConnectionAndEndsWithIt) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  Instance instance(listener, {"serve-and-tell", name});
  EXPECT_EQ(instance.service->manager.next(), "listening");
  EXPECT_EQ(instance.service->manager.next(), "greeted");
  EXPECT_EQ(instance.service->process.line(), std::to_string(getpid()));
  vanto_identity_t identity;
  ASSERT_TRUE(vanto_peer_identity(instance.connection, &identity));
  EXPECT_EQ(identity.pid, instance.service->process.pid());
  for (int i = 0; i < 3; i++) {
    expectEcho(instance.connection);
    EXPECT_EQ(instance.service->process.line(), "x");
  }
  instance.connection.reset();
  EXPECT_EQ(instance.service->process.line(), "over");
  EXPECT_EQ(instance.service->manager.next(), "stopped");
  EXPECT_EQ(instance.service->process.await(), "exit status 0");
}

TEST(ManagerLink, AnInstanceSaysThatItGreetsItsClientBeforeItDoes) {
  // One socket as the link and as the connection keeps the order of what is sent on both.
  const SocketPair pair;
  const Process process({"serve-and-tell", name}, {}, handOver({pair.near.get(), pair.near.get()}, names.c_str()));
  std::vector<std::size_t> sizes;
  std::vector<std::uint32_t> kinds;
  for (int i = 0; i < 3; i++) {
    pollfd set{pair.far.get(), POLLIN, 0};
    ASSERT_EQ(poll(&set, 1, 60'000), 1);
    std::uint8_t packet[4096] = {};
    const ssize_t size = recv(pair.far.get(), packet, sizeof packet, 0);
    ASSERT_GE(size, 16);
    sizes.push_back(static_cast<std::size_t>(size));
    kinds.push_back(load32(packet));
  }
  EXPECT_EQ(sizes[0], sizeof(ManagerRecord));
  EXPECT_EQ(kinds[0], static_cast<std::uint32_t>(ManagerRecordKind::Listening));
  EXPECT_EQ(sizes[1], sizeof(ManagerRecord));
  EXPECT_EQ(kinds[1], static_cast<std::uint32_t>(ManagerRecordKind::Greeted));
  EXPECT_GT(sizes[2], sizeof(ManagerRecord)) << "no greeting";
}

TEST(ManagerLink, AnInstanceGetsWhatItsClientHasSentBeforeItWent) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  Instance instance(listener, {"serve-and-tell", name});
  for (int i = 0; i < 100; i++) {
    ASSERT_EQ(vanto_send(instance.connection, text("x"), generous), VANTO_ERROR_NONE);
  }
  instance.connection.reset();
  EXPECT_EQ(instance.service->process.line(), std::to_string(getpid()));
  for (int i = 0; i < 100; i++) ASSERT_EQ(instance.service->process.line(), "x") << i;
  EXPECT_EQ(instance.service->process.line(), "over");
  EXPECT_EQ(instance.service->process.await(), "exit status 0");
}

TEST(ManagerLink, AnInstanceEndsWithAClientThatItDoesNotAdmit) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  const Instance instance(listener, {"serve-and-tell", name, "0"});
  EXPECT_EQ(codeOf(instance.connection), VANTO_ERROR_FULL);
  EXPECT_EQ(instance.service->manager.next(), "listening");
  EXPECT_EQ(instance.service->manager.next(), "stopped");
  EXPECT_EQ(instance.service->process.await(), "exit status 0");
}

TEST(ManagerLink, AnInstanceJudgesItsClient) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  Instance instance(listener, {"serve-judged", "by-code", name});
  expectEcho(instance.connection);
  instance.connection.reset();
  EXPECT_EQ(instance.service->process.await(), "exit status 0");
}

TEST(ManagerLink, AnInstanceEndsWithAClientThatGoesBeforeItAnswers) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, name);
  RawPeer client = RawPeer::connectTo(name);
  Fd accepted(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  for (const bool isGreeted : {true, false}) {
    const Managed service(accepted.get(), {"serve-and-tell", name});
    accepted.reset();
    if (isGreeted) {
      EXPECT_TRUE(client.receive());
    }
    client.close();
    EXPECT_EQ(service.process.await(), "exit status 0");
    if (!isGreeted) break;
    // The next one is gone before its instance begins.
    client = RawPeer::connectTo(name);
    accepted.reset(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    client.close();
  }
}

}  // namespace
}  // namespace vanto::test

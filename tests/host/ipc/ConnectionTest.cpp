// SPDX-License-Identifier: Apache-2.0
#include "ipc/Connection.h"

#include <thread>

#include "host/ipc/IPCFixture.h"
#include "host/ipc/RawPeer.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.connection";

TEST(Connection, TakesLittleMemory) {
  // What is open and idle holds this and little else.
  EXPECT_LE(sizeof(Connection), 1024U);
}

TEST(Connection, EndsWithTheReasonOfItsPeer) {
  const RuntimeDirectory directory;
  RawService service(name);
  for (const auto& [code, expected] :
       {std::pair{VANTO_ERROR_PROTOCOL, VANTO_ERROR_PROTOCOL}, std::pair{VANTO_ERROR_REFUSED, VANTO_ERROR_REFUSED},
        std::pair{VANTO_ERROR_NONE, VANTO_ERROR_CLOSED}}) {
    std::optional<RawPeer> peer;
    std::thread accepting([&] { peer.emplace(service.acceptAndGreet()); });
    const Held connection = connectTo(name);
    accepting.join();
    Awaited<vanto_error_code_t> events;
    vanto_connection_set_event_handler(connection,
                                       [&](vanto_object_t, vanto_object_t event) { events.add(codeOf(event)); });
    vanto_connection_resume(connection);
    sendCode(peer->descriptor(), FrameKind::Goodbye, static_cast<std::uint32_t>(code));
    EXPECT_EQ(events.await().at(0), expected);
  }
}

TEST(Connection, AServiceThatBreaksTheProtocolIsLeft) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::optional<RawPeer> peer;
  std::thread accepting([&] { peer.emplace(service.acceptAndGreet()); });
  const Held connection = connectTo(name);
  accepting.join();
  std::thread answering([&] {
    EXPECT_TRUE(peer->receive());
    peer->sendObject(FrameKind::Reply, peer->header().id + 1, text("to another question"));
  });
  EXPECT_EQ(codeOf(callWith(connection, text("x"))), VANTO_ERROR_PROTOCOL);
  answering.join();
  EXPECT_EQ(peer->awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST(Connection, ClosesThoughItsPeerNeverReads) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::optional<RawPeer> peer;
  std::thread accepting([&] { peer.emplace(service.acceptAndGreet()); });
  const Held connection = connectTo(name);
  accepting.join();
  Awaited<vanto_error_code_t> events;
  vanto_connection_set_event_handler(connection,
                                     [&](vanto_object_t, vanto_object_t event) { events.add(codeOf(event)); });
  vanto_connection_resume(connection);
  EXPECT_EQ(vanto_send(connection, data(10 << 20), 0), VANTO_ERROR_NONE);
  const std::uint64_t start = monotonicNow();
  vanto_close(connection);
  EXPECT_EQ(events.await(), (std::vector<vanto_error_code_t>{VANTO_ERROR_CANCELLED}));
  EXPECT_GE(monotonicNow() - start, limits::ipcClosingNanoseconds);
  EXPECT_LT(monotonicNow() - start, limits::ipcClosingNanoseconds * 8 / 5);
}

}  // namespace
}  // namespace vanto::test

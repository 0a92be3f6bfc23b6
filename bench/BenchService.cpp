// SPDX-License-Identifier: Apache-2.0

// The service that ManagerBench has started, in two ways with the same libraries. With a manager's descriptors it is a
// service of the library. Without, it does the least that answers one client on the listening socket 3: accepts, reads
// one packet with the credentials of its sender, sends it back, and ends.
#include <cstdlib>

#include <sys/socket.h>
#include <unistd.h>

#include <VantoService/dispatch.h>
#include <VantoService/vanto.h>

#include "BarePackets.h"
#include "BenchServiceName.h"

namespace vanto::bench {
namespace {

void serveOnce() {
  const int client = accept4(3, nullptr, nullptr, SOCK_CLOEXEC);
  char bytes[bareBytes];
  const ssize_t size = receivePacket(client, bytes, 0);
  _exit(size > 0 && send(client, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL) == size ? 0 : 1);
}

void answer(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) == VANTO_KIND_MESSAGE) vanto_reply(event, vanto_message_get_body(event));
}

void serve(vanto_object_t, vanto_object_t client) {
  if (vanto_kind(client) != VANTO_KIND_CONNECTION) std::exit(1);
  vanto_connection_set_event_handler(client, answer);
  vanto_connection_resume(client);
}

}  // namespace
}  // namespace vanto::bench

int main() {
  if (std::getenv("LISTEN_FDNAMES") == nullptr) vanto::bench::serveOnce();
  vanto_track_activity();
  const vanto_object_t listener = vanto_connection_create_listener(vanto::bench::benchServiceName, nullptr);
  vanto_connection_set_event_handler(listener, vanto::bench::serve);
  vanto_connection_resume(listener);
  dispatch_main();
}

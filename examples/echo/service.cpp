// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

// A service that answers each request with the request itself and how many it has answered. A request can ask for a
// long time to think, "seconds": it shows what clients are told when a service dies over their request.

namespace {

constexpr std::int64_t longestThought = 60;

/// Requests answered. All clients' events come on the one listener queue, so no lock is needed.
std::int64_t answered = 0;

/// Others wait meanwhile, since the queue is busy. A service that works long does so on a queue of its own.
void think(unsigned seconds) {
  std::printf("thinks for %u seconds\n", seconds);
  std::fflush(stdout);
  sleep(seconds);
}

void answer(vanto_object_t message) {
  const std::int64_t seconds =
      vanto_int64_get_value(vanto_dictionary_get_value(vanto_message_get_body(message), "seconds"));
  if (seconds > 0 && seconds <= longestThought) think(static_cast<unsigned>(seconds));
  const vanto_object_t reply = vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto_object_t number = vanto_int64_create(++answered);
  vanto_dictionary_set_value(reply, "echo", vanto_message_get_body(message));
  vanto_dictionary_set_value(reply, "answered", number);
  vanto_reply(message, reply);
  vanto_release(number);
  vanto_release(reply);
}

void handle(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) == VANTO_KIND_ERROR) {
    // Nobody can reach a service that cannot listen.
    std::fprintf(stderr, "echo: cannot listen: %s\n", vanto_error_get_text(event));
    std::exit(1);
  }
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  vanto_connection_set_event_handler(event, [](vanto_object_t, vanto_object_t received) {
    if (vanto_kind(received) == VANTO_KIND_MESSAGE) answer(received);
  });
  vanto_connection_resume(event);
}

}  // namespace

int main(int argc, char** argv) {
  return vanto_service_main(argc, argv, handle);
}

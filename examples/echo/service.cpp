// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>

#include <cstdio>
#include <cstdlib>

// A service that answers each request with the request itself and how many it has answered.

namespace {

/// Requests answered. All clients' events come on the one listener queue, so no lock is needed.
std::int64_t answered = 0;

void answer(vanto_object_t message) {
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

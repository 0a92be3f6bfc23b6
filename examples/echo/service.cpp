// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

// A service that answers each request with the request itself and how many it has answered. Who may call it stands in
// its Info.plist. A request can ask for a long time to think, "seconds": it shows what clients are told when a service
// dies over their request. For how long the service may think is in its entitlements, which it was signed with. Another
// can name a file to open, "read": it shows what the profile in echo.sb lets the service do. The reply has "read", 0 or
// an errno value, then. One with "introduce" has the reply say who the client is, "client", and how many seconds the
// service may think, "longest thought".

namespace {

constexpr std::uint64_t second = 1'000'000'000;

/// Requests answered. All clients' events come on the one listener queue, so no lock is needed.
std::int64_t answered = 0;

/// In seconds; 0 for a service that was not signed, or without that entitlement.
std::int64_t longestThought() {
  const vanto::TemporaryScope scope;
  const auto key = PlistString::create("org.vanto.example.echo.longest-thought");
  const auto* const number =
      vanto::as<PlistNumber>(VantoServiceRuntime::defaultRuntime()->entitlementForKey(key.get()));
  return number != nullptr ? number->int64Value() : 0;
}

/// Others wait meanwhile, since the queue is busy. A service that works long does so on a queue of its own.
void think(unsigned seconds) {
  std::printf("thinks for %u seconds\n", seconds);
  std::fflush(stdout);
  sleep(seconds);
}

/// 0, or why the file cannot be read.
int tryToRead(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return errno;
  char byte;
  const int error = read(file, &byte, 1) < 0 ? errno : 0;
  close(file);
  return error;
}

/// What the reply to a client that wants to be introduced has besides.
void introduce(vanto_object_t client, vanto_object_t reply) {
  const vanto_object_t code = vanto_copy_peer_code(client, 2 * second);
  const vanto_object_t longest = vanto_int64_create(longestThought());
  vanto_dictionary_set_value(reply, "client", vanto_dictionary_get_value(code, "identifier"));
  vanto_dictionary_set_value(reply, "longest thought", longest);
  vanto_release(longest);
  vanto_release(code);
}

void answer(vanto_object_t client, vanto_object_t message) {
  const vanto_object_t body = vanto_message_get_body(message);
  const std::int64_t seconds = vanto_int64_get_value(vanto_dictionary_get_value(body, "seconds"));
  const char* path = vanto_string_get_text(vanto_dictionary_get_value(body, "read"));
  if (seconds > 0) think(static_cast<unsigned>(std::min(seconds, longestThought())));
  const vanto_object_t reply = vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto_object_t number = vanto_int64_create(++answered);
  vanto_dictionary_set_value(reply, "echo", body);
  vanto_dictionary_set_value(reply, "answered", number);
  if (path != nullptr) {
    const vanto_object_t outcome = vanto_int64_create(tryToRead(path));
    vanto_dictionary_set_value(reply, "read", outcome);
    vanto_release(outcome);
  }
  if (vanto_dictionary_get_value(body, "introduce") != nullptr) introduce(client, reply);
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
  vanto_connection_set_event_handler(event, [](vanto_object_t client, vanto_object_t received) {
    if (vanto_kind(received) == VANTO_KIND_MESSAGE) answer(client, received);
  });
  vanto_connection_resume(event);
}

}  // namespace

int main(int argc, char** argv) {
  return vanto_service_main(argc, argv, handle);
}

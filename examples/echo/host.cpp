// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

// The application that ships the Echo service: calls it and shows what went over the connection. With the argument
// "--ready" it only tells, by its exit status, whether the service answers.

namespace {

constexpr std::uint64_t second = 1'000'000'000;

void print(const char* what, vanto_object_t object) {
  char* text = vanto_copy_description(object);
  std::printf("    %-8s %s\n", what, text);
  std::free(text);
}

vanto_object_t createRequest() {
  const vanto_object_t request = vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto_object_t text = vanto_string_create("Hello from the application");
  const vanto_object_t number = vanto_int64_create(42);
  vanto_dictionary_set_value(request, "text", text);
  vanto_dictionary_set_value(request, "number", number);
  vanto_release(number);
  vanto_release(text);
  return request;
}

/// Nanoseconds that one call takes, or a negative number when it fails.
std::int64_t timeCall(vanto_object_t connection, vanto_object_t request) {
  const auto begin = std::chrono::steady_clock::now();
  const vanto_object_t reply = vanto_call(connection, request, second);
  const auto end = std::chrono::steady_clock::now();
  const bool answered = vanto_kind(reply) == VANTO_KIND_DICTIONARY;
  vanto_release(reply);
  return answered ? std::chrono::nanoseconds(end - begin).count() : -1;
}

bool printMedian(vanto_object_t connection, vanto_object_t request) {
  std::vector<std::int64_t> times(2000);
  for (std::int64_t& time : times) {
    time = timeCall(connection, request);
    if (time < 0) return false;
  }
  std::nth_element(times.begin(), times.begin() + 1000, times.end());
  std::printf("    a call took %.1f microseconds (median of %zu)\n", static_cast<double>(times[1000]) / 1000,
              times.size());
  return true;
}

bool converse(vanto_object_t connection) {
  const vanto_object_t request = createRequest();
  print("request", request);
  const vanto_object_t reply = vanto_call(connection, request, 5 * second);
  print("reply", reply);
  const bool echoed = vanto_equal(vanto_dictionary_get_value(reply, "echo"), request);
  vanto_release(reply);
  vanto_identity_t service{};
  if (vanto_peer_identity(connection, &service)) {
    std::printf("    from     process %d of user %u\n", service.pid, service.uid);
  }
  const bool timed = echoed && printMedian(connection, request);
  vanto_release(request);
  return timed;
}

}  // namespace

int main(int argc, char** argv) {
  const bool readyOnly = argc > 1 && std::strcmp(argv[1], "--ready") == 0;
  const vanto_object_t connection = vanto_connect("org.vanto.example.echo", nullptr, second);
  const bool connected = vanto_kind(connection) == VANTO_KIND_CONNECTION;
  if (!connected && !readyOnly) print("failed", connection);
  const bool done = connected && (readyOnly || converse(connection));
  vanto_release(connection);
  return done ? 0 : 1;
}

// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

// The application that ships the Echo service: calls it and shows what went over the connection. With the argument
// "--introduce" it shows who answers, and as whom the service knows this program. With "--slow" it sends one request
// that takes the service a minute, and shows what it is told. With "--read" and a path it has the service open that
// file, and ends with status 0 when the service could, and with 3 when it was denied.

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

double millisecondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

bool converse(vanto_object_t connection, std::chrono::steady_clock::time_point begin) {
  const vanto_object_t request = createRequest();
  print("request", request);
  const vanto_object_t reply = vanto_call(connection, request, 5 * second);
  const double first = millisecondsSince(begin);
  print("reply", reply);
  const bool echoed = vanto_equal(vanto_dictionary_get_value(reply, "echo"), request);
  vanto_release(reply);
  vanto_identity_t service{};
  if (vanto_peer_identity(connection, &service)) {
    std::printf("    from     process %d of user %u, %.1f milliseconds after the client began\n", service.pid,
                service.uid, first);
  }
  const bool timed = echoed && printMedian(connection, request);
  vanto_release(request);
  return timed;
}

/// The time from nothing to the first reply, which is long where the service has to be started first.
bool callFirst() {
  const auto begin = std::chrono::steady_clock::now();
  const vanto_object_t connection = vanto_connect("org.vanto.example.echo", nullptr, 10 * second);
  if (vanto_kind(connection) != VANTO_KIND_CONNECTION) {
    print("failed", connection);
    vanto_release(connection);
    return false;
  }
  const bool done = converse(connection, begin);
  vanto_release(connection);
  return done;
}

/// True when the service is signed, and knows this program.
bool introduceEachOther() {
  const vanto_object_t connection = vanto_connect("org.vanto.example.echo", nullptr, 10 * second);
  const vanto_object_t code = vanto_copy_peer_code(connection, 5 * second);
  const vanto_object_t service = vanto_dictionary_get_value(code, "identifier");
  print("service", service != nullptr ? service : code);
  print("signers", vanto_dictionary_get_value(code, "signers"));
  const vanto_object_t request = vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto_object_t yes = vanto_bool_create(true);
  vanto_dictionary_set_value(request, "introduce", yes);
  const vanto_object_t reply = vanto_call(connection, request, 5 * second);
  print("reply", reply);
  const bool isKnown = service != nullptr && vanto_dictionary_get_value(reply, "client") != nullptr;
  vanto_release(reply);
  vanto_release(yes);
  vanto_release(request);
  vanto_release(code);
  vanto_release(connection);
  return isKnown;
}

/// True when the service ended before it had answered.
bool callSlowly() {
  const vanto_object_t connection = vanto_connect("org.vanto.example.echo", nullptr, 10 * second);
  const vanto_object_t request = vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto_object_t seconds = vanto_int64_create(60);
  vanto_dictionary_set_value(request, "seconds", seconds);
  const vanto_object_t reply = vanto_call(connection, request, 90 * second);
  print("reply", reply);
  const bool wasCut = vanto_error_get_code(reply) == VANTO_ERROR_CLOSED;
  vanto_release(reply);
  vanto_release(seconds);
  vanto_release(request);
  vanto_release(connection);
  return wasCut;
}

/// The exit status.
int haveRead(const char* path) {
  const vanto_object_t connection = vanto_connect("org.vanto.example.echo", nullptr, 10 * second);
  const vanto_object_t request = vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto_object_t text = vanto_string_create(path);
  vanto_dictionary_set_value(request, "read", text);
  const vanto_object_t reply = vanto_call(connection, request, 10 * second);
  print("reply", reply);
  const vanto_object_t outcome = vanto_dictionary_get_value(reply, "read");
  int status = 1;
  if (vanto_kind(outcome) == VANTO_KIND_INT64 && vanto_int64_get_value(outcome) == 0) status = 0;
  if (vanto_int64_get_value(outcome) == EACCES) status = 3;
  vanto_release(reply);
  vanto_release(text);
  vanto_release(request);
  vanto_release(connection);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 && std::strcmp(argv[1], "--read") == 0) return haveRead(argv[2]);
  if (argc > 1 && std::strcmp(argv[1], "--introduce") == 0) return introduceEachOther() ? 0 : 1;
  const bool isSlow = argc > 1 && std::strcmp(argv[1], "--slow") == 0;
  return (isSlow ? callSlowly() : callFirst()) ? 0 : 1;
}

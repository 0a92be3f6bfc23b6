// SPDX-License-Identifier: Apache-2.0

// Round trips, both ends on one core, beside a bare loop over the same kind of socket and a message-bus library peer to
// peer; and what many open connections cost. All in one run, in turns, so that one number can be held against another.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <VantoService/dispatch.h>
#include <VantoService/vanto.h>

#include "IPCPeers.h"

namespace vanto::bench {
namespace {

constexpr const char* serviceName = "org.example.bench";
constexpr int rounds = 401;
/// Short, so that most rounds are not disturbed by other work of the machine.
constexpr int tripsPerRound = 200;
constexpr int inFlight = 64;
constexpr int manyConnections = 10'000;

vanto_object_t createDictionary() {
  const char* keys[] = {"name", "count", "enabled", "ratio", "path"};
  vanto_object_t values[] = {vanto_string_create("org.example.service"), vanto_int64_create(42),
                             vanto_bool_create(true), vanto_double_create(0.5),
                             vanto_string_create("/usr/share/example")};
  vanto_object_t dictionary = vanto_dictionary_create(keys, values, 5);
  for (vanto_object_t value : values) vanto_release(value);
  return dictionary;
}

std::int64_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  std::int64_t size = 0;
  std::int64_t resident = 0;
  file >> size >> resident;
  return resident * getpagesize();
}

/// Answers a dictionary with itself, and anything else with the memory that this process holds.
[[noreturn]] void serveVanto(int ready) {
  vanto_set_connections_per_user(2 * manyConnections);
  vanto_object_t listener = vanto_connection_create_listener(serviceName, nullptr);
  vanto_connection_set_event_handler(listener, [](vanto_object_t, vanto_object_t connection) {
    vanto_connection_set_event_function(
        connection,
        [](vanto_object_t, vanto_object_t event, void*) {
          if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
          vanto_object_t body = vanto_message_get_body(event);
          if (vanto_kind(body) == VANTO_KIND_DICTIONARY) {
            vanto_reply(event, body);
          } else {
            vanto_object_t memory = vanto_int64_create(residentBytes());
            vanto_reply(event, memory);
            vanto_release(memory);
          }
        },
        nullptr, nullptr);
    vanto_connection_resume(connection);
  });
  vanto_connection_resume(listener);
  static_cast<void>(!write(ready, "x", 1));
  dispatch_main();
}

vanto_object_t connectOnce() {
  vanto_object_t connection = vanto_connect(serviceName, nullptr, 5'000'000'000);
  if (vanto_kind(connection) == VANTO_KIND_CONNECTION) return connection;
  std::fprintf(stderr, "no connection: %s\n", vanto_error_get_text(connection));
  std::exit(1);
}

double timeCalls(vanto_object_t connection, vanto_object_t dictionary, int count) {
  const double start = nanosecondsNow();
  for (int i = 0; i < count; i++) {
    vanto_object_t reply = vanto_call(connection, dictionary, 5'000'000'000);
    if (vanto_kind(reply) != VANTO_KIND_DICTIONARY) std::exit(1);
    vanto_release(reply);
  }
  return (nanosecondsNow() - start) / count;
}

/// Calls in flight, each of which begins another one when it is answered.
struct Flight {
  vanto_object_t connection;
  vanto_object_t dictionary;
  int toBegin;
  int toEnd;
  int done[2];

  void begin() {
    toBegin--;
    vanto_call_async(
        connection, dictionary, 5'000'000'000,
        [](vanto_object_t reply, void* self) {
          if (vanto_kind(reply) != VANTO_KIND_DICTIONARY) std::exit(1);
          static_cast<Flight*>(self)->ended();
        },
        this);
  }
  void ended() {
    if (toBegin > 0) begin();
    if (--toEnd == 0) static_cast<void>(!write(done[1], "x", 1));
  }
};

double timeInFlight(vanto_object_t connection, vanto_object_t dictionary, int count) {
  Flight flight{connection, dictionary, count, count, {}};
  if (pipe(flight.done) != 0) std::exit(1);
  const double start = nanosecondsNow();
  // The first ones are begun on the queue of the replies, so that nothing is counted by two threads.
  struct First {
    static void run(vanto_object_t, void* self) {
      auto& running = *static_cast<Flight*>(self);
      for (int i = 0; i < inFlight; i++) running.begin();
    }
  };
  vanto_call_async(connection, dictionary, 5'000'000'000, &First::run, &flight);
  char byte;
  static_cast<void>(!read(flight.done[0], &byte, 1));
  const double time = (nanosecondsNow() - start) / count;
  close(flight.done[0]);
  close(flight.done[1]);
  return time;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

bool report(const char* what, double ratio, const char* relation, double limit, bool isMet) {
  std::printf("  %-58s %6.2f   %s %.2f   %s\n", what, ratio, relation, limit, isMet ? "met" : "MISSED");
  return isMet;
}

std::int64_t remoteMemory(vanto_object_t connection) {
  vanto_object_t question = vanto_bool_create(true);
  vanto_object_t reply = vanto_call(connection, question, 5'000'000'000);
  const std::int64_t bytes = vanto_int64_get_value(reply);
  vanto_release(reply);
  return bytes;
}

bool holdConnections() {
  vanto_object_t first = connectOnce();
  const std::int64_t remoteBefore = remoteMemory(first);
  const std::int64_t before = residentBytes();
  std::vector<vanto_object_t> connections;
  connections.reserve(manyConnections);
  const double start = nanosecondsNow();
  for (int i = 0; i < manyConnections; i++) connections.push_back(connectOnce());
  const double each = (nanosecondsNow() - start) / manyConnections;
  const double here = static_cast<double>(residentBytes() - before) / manyConnections;
  const double there = static_cast<double>(remoteMemory(first) - remoteBefore) / manyConnections;
  vanto_object_t dictionary = createDictionary();
  const double call = timeCalls(connections.back(), dictionary, 1000);
  vanto_release(dictionary);
  std::printf("\n%d open connections: %.1f us to connect one, a call on one %.2f us\n", manyConnections, each / 1000,
              call / 1000);
  bool met = report("bytes for each at the client's end", here, "<=", 2048, here <= 2048);
  met = report("bytes for each at the service's end", there, "<=", 2048, there <= 2048) && met;
  for (vanto_object_t connection : connections) vanto_release(connection);
  vanto_release(first);
  return met;
}

pid_t serveInChild(int socket, int other, void (*serve)(int)) {
  const pid_t child = fork();
  if (child != 0) {
    close(socket);
    return child;
  }
  close(other);
  serve(socket);
  _exit(0);
}

int run() {
  pinToOneCore();
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  char directory[] = "/tmp/ipc-bench-XXXXXX";
  if (mkdtemp(directory) == nullptr) return 1;
  setenv("XDG_RUNTIME_DIR", directory, 1);

  int bare[2];
  int bus[2];
  int ready[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, bare) != 0 || socketpair(AF_UNIX, SOCK_STREAM, 0, bus) != 0 ||
      pipe(ready) != 0) {
    return 1;
  }
  std::vector<pid_t> children;
  children.push_back(serveInChild(bare[1], bare[0], serveBare));
  children.push_back(serveInChild(bus[1], bus[0], serveBus));
  children.push_back(serveInChild(ready[1], ready[0], serveVanto));
  char byte;
  static_cast<void>(!read(ready[0], &byte, 1));

  BusClient busClient(bus[0]);
  vanto_object_t connection = connectOnce();
  vanto_object_t busy = connectOnce();
  vanto_object_t dictionary = createDictionary();
  std::vector<double> bareTimes;
  std::vector<double> times;
  std::vector<double> busTimes;
  std::vector<double> bareFlights;
  std::vector<double> flights;
  for (int i = 0; i < rounds; i++) {
    bareTimes.push_back(timeBare(bare[0], tripsPerRound, 1));
    times.push_back(timeCalls(connection, dictionary, tripsPerRound));
    busTimes.push_back(busClient.time(tripsPerRound / 4));
  }
  for (int i = 0; i < rounds / 4; i++) {
    bareFlights.push_back(timeBare(bare[0], 10 * tripsPerRound, inFlight));
    flights.push_back(timeInFlight(busy, dictionary, 10 * tripsPerRound));
  }
  std::printf("both ends on one core, medians of %d interleaved runs\n", rounds);
  std::printf("  bare SEQPACKET, epoll, credentials   %7.2f us\n", median(bareTimes) / 1000);
  std::printf("  vanto_call, dictionary of 5          %7.2f us\n", median(times) / 1000);
  std::printf("  sd-bus peer to peer, the same        %7.2f us\n", median(busTimes) / 1000);
  std::printf("  bare, %d in flight                   %7.0f /s\n", inFlight, 1e9 / median(bareFlights));
  std::printf("  vanto_call_async, %d in flight       %7.0f /s\n", inFlight, 1e9 / median(flights));
  const double toBare = median(times) / median(bareTimes);
  const double toBus = median(busTimes) / median(times);
  const double rate = median(bareFlights) / median(flights);
  bool met = report("round trip, times the bare loop", toBare, "<=", 1.3, toBare <= 1.3);
  met = report("round trip, times faster than sd-bus", toBus, ">=", 1.5, toBus >= 1.5) && met;
  met = report("64 in flight, part of the bare loop's rate", rate, ">=", 0.6, rate >= 0.6) && met;
  met = holdConnections() && met;

  vanto_release(dictionary);
  vanto_release(connection);
  vanto_release(busy);
  for (const pid_t child : children) kill(child, SIGTERM);
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  static_cast<void>(!system((std::string("rm -rf ") + directory).c_str()));
  return met ? 0 : 1;
}

}  // namespace
}  // namespace vanto::bench

int main() {
  return vanto::bench::run();
}

// SPDX-License-Identifier: Apache-2.0

// The services of the soak; which one it is says the name of the executable. It answers a request, {"number", maybe
// "slow": milliseconds}, with its number, and notes in the ledger that it has. The file NAME.mode beside the executable
// says what a process does before it begins to listen, one thing after the other:
//
//   exit N    ends with status N
//   crash     ends by a signal
//   sleep N   waits for N milliseconds
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include <VantoService/dispatch.h>
#include <VantoService/vanto.h>

#include "soak/Ledger.h"

namespace vanto::soak {
namespace {

/// Lives as long as the process.
Ledger* ledger = nullptr;
Service self = Service::Shared;

void pauseFor(std::int64_t milliseconds) {
  const timespec time{milliseconds / 1000, milliseconds % 1000 * 1'000'000};
  nanosleep(&time, nullptr);
}

void answer(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
  const vanto_object_t request = vanto_message_get_body(event);
  const vanto_object_t number = vanto_dictionary_get_value(request, "number");
  ledger->carryOut(self, static_cast<std::uint64_t>(vanto_int64_get_value(number)));
  pauseFor(vanto_int64_get_value(vanto_dictionary_get_value(request, "slow")));
  vanto_reply(event, number);
}

void serve(vanto_object_t, vanto_object_t client) {
  if (vanto_kind(client) != VANTO_KIND_CONNECTION) std::exit(1);
  vanto_connection_set_event_handler(client, answer);
  vanto_connection_resume(client);
}

void obeyMode(const std::string& path) {
  std::ifstream file(path);
  for (std::string word; file >> word;) {
    int number = 0;
    if (word != "crash") file >> number;
    if (word == "sleep") {
      pauseFor(number);
      continue;
    }
    ledger->noteFailure(self);
    if (word == "exit") std::_Exit(number);
    std::raise(SIGABRT);
  }
}

[[noreturn]] void run(const std::string& executable) {
  const std::size_t nameBegin = executable.rfind('/') + 1;
  if (executable.substr(nameBegin) == nameOf(Service::Multiple)) self = Service::Multiple;
  ledger = new Ledger(executable.substr(0, nameBegin) + Ledger::fileName);
  ledger->noteStart(self);
  obeyMode(executable + Ledger::modeSuffix);
  std::atexit([] { ledger->noteExit(self); });
  vanto_track_activity();
  const vanto_object_t listener = vanto_connection_create_listener(nameOf(self), nullptr);
  vanto_connection_set_event_handler(listener, serve);
  vanto_connection_resume(listener);
  dispatch_main();
}

}  // namespace
}  // namespace vanto::soak

int main(int, char** arguments) {
  vanto::soak::run(arguments[0]);
}

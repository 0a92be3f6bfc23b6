// SPDX-License-Identifier: Apache-2.0

// The other process of the tests. Its first argument says what it does; it reports lines on its standard output.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <VantoService/dispatch.h>

#include "host/ipc/IPCFixture.h"
#include "host/ipc/RawPeer.h"
#include "ipc/InheritedListener.h"

namespace vanto::test {
namespace {

void report(const std::string& line) {
  const std::string text = line + "\n";
  if (write(STDOUT_FILENO, text.data(), text.size()) < 0) _exit(98);
}

[[noreturn]] void die() {
  raise(SIGKILL);
  _exit(97);
}

/// Sends a frame on a connection of another process.
int sendOn(std::string_view what, int socket) {
  RawPeer peer{Fd(socket)};
  if (what == "greeting") peer.sendAnswer();
  if (what == "request") peer.sendObject(FrameKind::Request, 1, text("x"));
  return testing::Test::HasFailure() ? 1 : 0;
}

/// A service that dies.
int dieAsService(std::string_view step, const char* name) {
  RawService service(name);
  report("ready");
  RawPeer peer = service.accept();
  peer.sendGreeting(FrameKind::Greeting, {.windowMessages = 256, .windowBytes = 1 << 20});
  if (step == "after-greeting") die();
  EXPECT_TRUE(peer.receive());
  if (step == "after-answer") die();
  for (int frames = 0; frames < 4; frames++) EXPECT_TRUE(peer.receive());
  if (step == "after-request") die();
  const std::vector<std::uint8_t> part(limits::ipcInlineBytes);
  if (step == "half-reply") {
    peer.send({.kind = FrameKind::Reply, .id = 1, .length = 2 * limits::ipcInlineBytes}, part);
  } else {
    peer.sendObject(FrameKind::Reply, 1, text("x"));
  }
  die();
}

/// A client that dies.
int dieAsClient(std::string_view step, const char* name) {
  RawPeer peer = RawPeer::connectTo(name);
  if (step == "connected") die();
  EXPECT_TRUE(peer.receive());
  if (step == "greeted") die();
  peer.sendAnswer();
  if (step == "answered") die();
  const std::vector<std::uint8_t> part(limits::ipcInlineBytes);
  if (step == "half-asked") peer.send({.kind = FrameKind::Request, .id = 1, .length = 200'000}, part);
  if (step == "asked") peer.sendObject(FrameKind::Request, 1, text("x"));
  if (step == "asked-much") {
    for (std::uint64_t id = 1; id <= 200; id++) peer.sendObject(FrameKind::Request, id, data(2000));
  }
  die();
}

/// A service that answers what it is asked, "slow" a second request later, and ends on request.
int serve(const char* name) {
  static Held waiting;
  static Service* service = new Service(name, [](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    const std::string asked = vanto_string_get_text(vanto_message_get_body(event));
    if (asked == "slow") {
      waiting = Held::share(event);
      return report("slow");
    }
    if (asked == "finish") {
      vanto_reply(waiting, text("finished"));
      waiting.reset();
    }
    if (asked == "throw") throw 1;
    Service::echo(connection, event);
  });
  report(service != nullptr ? "ready" : "");
  dispatch_main();
}

/// A client that connects and says how that went; then it waits to be let go.
int client(const char* name) {
  const Held connection(vanto_connect(name, nullptr, generous));
  report(std::to_string(codeOf(connection)));
  if (codeOf(connection) == VANTO_ERROR_NONE) report(vanto_string_get_text(callWith(connection, text("x"))));
  return 0;
}

/// Finishes a request only when told to end.
int serveUntilTerminated(const char* name) {
  static Awaited<Held> requests;
  static Service* service = new Service(name, [](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    requests.add(Held::share(event));
    report("got one");
  });
  report(service != nullptr ? "ready" : "");
  // The test writes a byte when the answer may go out.
  char byte = 0;
  pollfd set{STDIN_FILENO, POLLIN, 0};
  // Where signals are delayed until a call that may block for long, this is one.
  while (poll(&set, 1, -1) != 1) {
  }
  if (read(STDIN_FILENO, &byte, 1) != 1) return 1;
  vanto_reply(requests.take(), data(3 << 20));
  dispatch_main();
}

/// Prints what of the environment's listeners a process gets for a name.
int inherit(const char* name, const char* other) {
  const Fd one = takeInheritedListener(name);
  const Fd two = takeInheritedListener(other);
  report(std::to_string(one.get()) + " " + std::to_string(two.get()));
  report(getenv("LISTEN_FDS") == nullptr && getenv("LISTEN_PID") == nullptr && getenv("LISTEN_FDNAMES") == nullptr
             ? "cleared"
             : "left");
  report(one && fcntl(one.get(), F_GETFD) == FD_CLOEXEC ? "close-on-exec" : "");
  return 0;
}

int run(int count, char** arguments) {
  const std::string_view mode = count > 1 ? arguments[1] : "";
  if (mode == "send-on") return sendOn(arguments[2], std::atoi(arguments[3]));
  if (mode == "die") return dieAsService(arguments[2], arguments[3]);
  if (mode == "die-as-client") return dieAsClient(arguments[2], arguments[3]);
  if (mode == "serve") return serve(arguments[2]);
  if (mode == "client") return client(arguments[2]);
  if (mode == "serve-until-terminated") return serveUntilTerminated(arguments[2]);
  if (mode == "inherit") return inherit(arguments[2], arguments[3]);
  return 99;
}

}  // namespace
}  // namespace vanto::test

int main(int count, char** arguments) {
  return vanto::test::run(count, arguments);
}

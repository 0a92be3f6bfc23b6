// SPDX-License-Identifier: Apache-2.0

// The other process of the tests. Its first argument says what it does; it reports lines on its standard output.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>

#include <sys/resource.h>

#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/dispatch.h>

#include "dispatch/Pool.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/RawPeer.h"
#include "ipc/Activity.h"
#include "ipc/InheritedSockets.h"
#include "value/limits.h"
#include "value/platform/signing.h"

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

std::ptrdiff_t threadCount() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

/// Before the service was made.
std::ptrdiff_t threadsAtStart = 0;

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
    if (asked == "threads") report(threadCount() == threadsAtStart ? "no more" : "more");
    if (asked == "stop listening") vanto_close(service->listener());
    Service::echo(connection, event);
  });
  report(service != nullptr ? "ready" : "");
  dispatch_main();
}

/// The same on one thread.
int serveAlone(const char* name) {
  // The thread sanitizer makes one of its own with the first of the program.
  std::thread([] {}).join();
  threadsAtStart = threadCount();
  Pool::shared().useOnlyMainThread();
  return serve(name);
}

/// The same for a service that tracks its activity.
int serveTracked(const char* name) {
  vanto_track_activity();
  return serve(name);
}

/// A service that reports what it gets: who connects, and each message, and when the connection is over.
int serveAndTell(const char* name, const char* most) {
  if (most != nullptr) vanto_set_connections_per_user(static_cast<std::size_t>(std::atoi(most)));
  static Held listener(vanto_connection_create_listener(name, nullptr));
  vanto_connection_set_event_handler(listener, [](vanto_object_t, vanto_object_t event) {
    vanto_identity_t identity;
    if (!vanto_peer_identity(event, &identity)) return;
    report(std::to_string(identity.pid));
    vanto_connection_set_event_handler(event, [](vanto_object_t connection, vanto_object_t received) {
      if (vanto_kind(received) == VANTO_KIND_ERROR) return report("over");
      report(vanto_string_get_text(vanto_message_get_body(received)));
      Service::echo(connection, received);
    });
    vanto_connection_resume(event);
  });
  vanto_connection_resume(listener);
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
  Fd one;
  Fd two;
  const bool hasOne = hasInheritedSocket(name);
  const vanto_error_code_t code = takeInheritedSocket(name, InheritedSocket::Listening, one);
  const bool hasTwo = hasInheritedSocket(other);
  EXPECT_EQ(takeInheritedSocket(other, InheritedSocket::Listening, two), code);
  // Looking takes nothing, and finds what there is to take.
  if ((one && !hasOne) || (two && !hasTwo)) report("looked for in vain");
  const bool isTooMany = code == VANTO_ERROR_TOO_LARGE;
  report(isTooMany ? "too many" : std::to_string(one.get()) + " " + std::to_string(two.get()));
  report(getenv("LISTEN_FDS") == nullptr && getenv("LISTEN_PID") == nullptr && getenv("LISTEN_FDNAMES") == nullptr
             ? "cleared"
             : "left");
  const int last = isTooMany ? 3 + limits::ipcInheritedListeners : one.get();
  report(last >= 0 && fcntl(last, F_GETFD) == FD_CLOEXEC ? "close-on-exec" : "");
  return 0;
}

/// Prints the descriptors of the connection for a name and of the link to the manager.
int inheritOthers(const char* name) {
  Fd connection;
  const bool hasConnection = hasInheritedSocket(name);
  EXPECT_EQ(takeInheritedSocket(name, InheritedSocket::Connected, connection), VANTO_ERROR_NONE);
  if (connection && !hasConnection) report("looked for in vain");
  const Fd link = takeManagerLink();
  report(std::to_string(connection.get()) + " " + std::to_string(link.get()));
  return 0;
}

/// Prints what its service's socket is.
int openSocket(const char* name) {
  ServiceSocket socket;
  EXPECT_EQ(socket.open(name), VANTO_ERROR_NONE);
  const bool isConnection = socket.isConnection();
  report(isConnection ? "connection" : socket.isInherited() ? "inherited" : "own");
  const Fd connection = isConnection ? socket.takeConnection() : Fd();
  if (!isConnection) return 0;
  timeval timeout{};
  socklen_t size = sizeof timeout;
  EXPECT_EQ(getsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, &size), 0);
  const bool isPlain = (fcntl(connection.get(), F_GETFL) & O_NONBLOCK) == 0 && timeout.tv_sec == 0;
  report(isPlain ? "as accepted" : "changed");
  return 0;
}

/// A listener by itself: reports its error.
int listenOnly(const char* name) {
  static Awaited<int> errors;
  const Held listener(vanto_connection_create_listener(name, nullptr));
  vanto_connection_set_event_handler(listener, [](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_ERROR) return;
    report(std::to_string(vanto_error_get_code(event)) + " " + vanto_error_get_text(event));
    errors.add(0);
  });
  vanto_connection_resume(listener);
  static_cast<void>(errors.await());
  return 0;
}

/// Waits until a byte comes on the standard input.
void awaitGate() {
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) < 0 && errno == EINTR) {
  }
}

/// Inside a handler when the process is asked to end: goes on until the test lets it.
void linger() {
  report("ending");
  awaitGate();
  report("left");
}

void lingerUntilAsked() {
  report("entered");
  while (!Activity::isEnding()) std::this_thread::yield();
  linger();
}

std::atomic<bool> asksForCode{false};

/// While a client is judged, its listener is accepting.
std::atomic<bool> lingersInJudgement{false};

/// Admits everybody, whatever the facility says of their code.
bool admit(audit_token_t token) {
  if (lingersInJudgement) lingerUntilAsked();
  if (!asksForCode) return true;
  const std::int32_t pid = static_cast<std::int32_t>(token.val[0]);
  PlistNumber* number = PlistNumber::create(KorNumberSInt32Type, &pid).asTemporary();
  const PlistDictionary::Entry entry{kVexGuestAttributePid, number};
  PlistDictionary* attributes = PlistDictionary::create({&entry, 1}).asTemporary();
  VexCode* code = nullptr;
  static_cast<void>(VexCodeCopyGuestWithAttributes(nullptr, attributes, 0, &code));
  return true;
}

/// The same as serve() with an evaluator, which asks for the code of its clients or does not.
int serveJudged(std::string_view evaluation, const char* name) {
  asksForCode = evaluation == "by-code";
  lingersInJudgement = evaluation == "lingering";
  vanto_handle_service(nullptr, nullptr, admit);
  return serve(name);
}

/// A service that is asked to end while a handler of some kind runs.
int endDuring(std::string_view what, const char* name) {
  const bool isListenerEvent = what == "connection";
  const bool isReply = what == "reply";
  static Held listener(vanto_connection_create_listener(name, nullptr));
  vanto_connection_set_event_handler(listener, [isListenerEvent, isReply](vanto_object_t, vanto_object_t event) {
    if (isListenerEvent) return lingerUntilAsked();
    vanto_connection_set_queue(event, nullptr);
    vanto_connection_set_event_handler(event, [isReply](vanto_object_t, vanto_object_t message) {
      if (vanto_kind(message) != VANTO_KIND_MESSAGE) return;
      if (isReply) return static_cast<void>(vanto_reply(message, text("x")));
      report("entered");
      while (!Activity::isEnding()) std::this_thread::yield();
      vanto_reply(message, text("x"));
      linger();
    });
    vanto_connection_resume(event);
  });
  vanto_connection_resume(listener);
  static Held connection;
  if (isReply) {
    connection = Held(vanto_connect(name, nullptr, generous));
    vanto_call_async(connection, text("x"), generous, [](vanto_object_t) { lingerUntilAsked(); });
  }
  report("ready");
  dispatch_main();
}

/// A service that resumes a second listener after it was asked to end.
int listenTooLate(const char* name, const char* other) {
  static Awaited<Held> requests;
  static Service* service = new Service(name, [](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    requests.add(Held::share(event));
    report("got one");
  });
  report(service != nullptr ? "ready" : "");
  while (!Activity::isEnding()) std::this_thread::yield();
  static Service* late = new Service(other);
  report(late != nullptr ? "resumed" : "");
  awaitGate();
  vanto_reply(requests.take(), text("x"));
  dispatch_main();
}

/// A service whose first listener found no descriptors.
int listenTwice(const char* name) {
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  static Service* first = new Service(name);
  setrlimit(RLIMIT_NOFILE, &limit);
  static Service* second = new Service(name);
  report(std::to_string(first->errors.await().at(0)) + (second != nullptr ? " ready" : ""));
  dispatch_main();
}

/// Connects a socket that somebody else has too.
RawPeer connectShared(int socket, const char* name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s/vanto/user/%s", getenv("XDG_RUNTIME_DIR"), name);
  EXPECT_EQ(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return RawPeer(Fd(socket));
}

/// Answers a greeting whose nonce somebody else was told.
int answer(int socket, const char* nonce) {
  RawPeer peer{Fd(socket)};
  peer.sendAnswerTo(nonce);
  EncodedObject body;
  EXPECT_EQ(body.encode(text("x")), VANTO_ERROR_NONE);
  // By now the service may have dropped this client.
  const FrameHeader header{.kind = FrameKind::Request, .id = 1, .length = body.bytes().size()};
  static_cast<void>(sendFrame(peer.descriptor(), header, body.bytes(), {}));
  bool isServed = false;
  std::uint32_t code = 0;
  while (!isServed && peer.receive()) {
    isServed = peer.header().kind == FrameKind::Reply;
    if (peer.header().kind == FrameKind::Goodbye) code = peer.code();
  }
  report(isServed ? "served" : std::to_string(code));
  return 0;
}

/// A client that is another one, or dead, when it answers.
int changeAsClient(std::string_view change, int socket, const char* name, const char* program) {
  const int inherited = fcntl(socket, F_DUPFD, 100);
  RawPeer peer = connectShared(socket, name);
  if (change == "die-at-once") die();
  EXPECT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().flags, frameHasNonce);
  const std::string nonce = peer.nonceText();
  report("greeted");
  awaitGate();
  if (change == "execute") {
    execl(program, program, "answer", std::to_string(inherited).c_str(), nonce.c_str(), nullptr);
    return 1;
  }
  peer.sendAnswerTo(nonce.c_str());
  die();
}

int run(int count, char** arguments) {
  const std::string_view mode = count > 1 ? arguments[1] : "";
  if (mode == "send-on") return sendOn(arguments[2], std::atoi(arguments[3]));
  if (mode == "die") return dieAsService(arguments[2], arguments[3]);
  if (mode == "die-as-client") return dieAsClient(arguments[2], arguments[3]);
  if (mode == "serve") return serve(arguments[2]);
  if (mode == "serve-alone") return serveAlone(arguments[2]);
  if (mode == "serve-tracked") return serveTracked(arguments[2]);
  if (mode == "serve-and-tell") return serveAndTell(arguments[2], count > 3 ? arguments[3] : nullptr);
  if (mode == "inherit-others") return inheritOthers(arguments[2]);
  if (mode == "open-socket") return openSocket(arguments[2]);
  if (mode == "client") return client(arguments[2]);
  if (mode == "serve-until-terminated") return serveUntilTerminated(arguments[2]);
  if (mode == "listen") return listenOnly(arguments[2]);
  if (mode == "serve-judged") return serveJudged(arguments[2], arguments[3]);
  if (mode == "end-during") return endDuring(arguments[2], arguments[3]);
  if (mode == "listen-too-late") return listenTooLate(arguments[2], arguments[3]);
  if (mode == "listen-twice") return listenTwice(arguments[2]);
  if (mode == "answer") return answer(std::atoi(arguments[2]), arguments[3]);
  if (mode == "change-as-client") {
    return changeAsClient(arguments[2], std::atoi(arguments[3]), arguments[4], count > 5 ? arguments[5] : nullptr);
  }
  if (mode == "inherit") return inherit(arguments[2], arguments[3]);
  return 99;
}

}  // namespace
}  // namespace vanto::test

int main(int count, char** arguments) {
  return vanto::test::run(count, arguments);
}

// SPDX-License-Identifier: Apache-2.0

// A client whose code is looked at. Its first argument says what it does; it reports lines on its standard output.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceRuntime.h>
#include <VantoService/vanto_code.h>

#include "host/ipc/IPCFixture.h"
#include "host/ipc/RawPeer.h"

namespace vanto::test {
namespace {

void report(const std::string& line) {
  const std::string text = line + "\n";
  if (write(STDOUT_FILENO, text.data(), text.size()) < 0) _exit(98);
}

/// Waits until the test closes the standard input or writes a byte.
void awaitGate() {
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) < 0 && errno == EINTR) {
  }
}

/// "served", or the error that came in place of the connection or the reply.
int call(const char* name) {
  const Held connection(vanto_connect(name, nullptr, generous));
  if (codeOf(connection) != VANTO_ERROR_NONE) return report(std::to_string(codeOf(connection))), 0;
  const Held reply(vanto_call(connection, text("x"), generous));
  report(codeOf(reply) == VANTO_ERROR_NONE ? "served" : std::to_string(codeOf(reply)));
  return 0;
}

/// The same in the hands of its parent.
int callTraced(const char* name) {
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) return 1;
  return call(name);
}

/// The same once it is told to.
int callWhenTold(const char* name) {
  report("waiting");
  awaitGate();
  return call(name);
}

/// What is known of the service.
int lookAtService(const char* name) {
  const Held connection(vanto_connect(name, nullptr, generous));
  const Held code(vanto_copy_peer_code(connection, generous));
  if (codeOf(code) != VANTO_ERROR_NONE) return report(vanto_error_get_text(code)), 0;
  const vanto_object_t identifier = vanto_dictionary_get_value(code, "identifier");
  report(identifier != nullptr ? vanto_string_get_text(identifier) : "not valid");
  return 0;
}

int reportEntitlement(const char* key) {
  const TemporaryScope scope;
  const PlistValue* value = VantoServiceRuntime::defaultRuntime()->entitlementForKey(PlistString::create(key).get());
  report(value != nullptr ? std::string(value->description()->text()) : "none");
  return 0;
}

/// Connects without answering.
Fd connectBare(const char* name) {
  Fd made(socket(AF_UNIX, SOCK_SEQPACKET, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s/vanto/user/%s", getenv("XDG_RUNTIME_DIR"), name);
  if (connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) _exit(96);
  EXPECT_TRUE(enableSenderCredentials(made.get()));
  return made;
}

/// Whether the service answers a request on the connection.
std::string outcomeOf(RawPeer& peer) {
  EncodedObject body;
  EXPECT_EQ(body.encode(text("x")), VANTO_ERROR_NONE);
  const FrameHeader header{.kind = FrameKind::Request, .id = 1, .length = body.bytes().size()};
  static_cast<void>(sendFrame(peer.descriptor(), header, body.bytes(), {}));
  while (peer.receive()) {
    if (peer.header().kind == FrameKind::Reply) return "served";
  }
  return "dropped";
}

/// Keeps the socket of a client that is another process now: answers in its place, with the right nonce.
void answerInItsPlace(Fd socket) {
  RawPeer peer(std::move(socket));
  std::string outcome = "refused";
  if (peer.receive() && peer.header().kind == FrameKind::Greeting) {
    Greeting greeting;
    static_cast<void>(decodeGreeting(peer.payload().data(), greeting));
    std::uint8_t bytes[greetingBytes];
    encodeGreeting(greeting, bytes);
    const FrameHeader header{.kind = FrameKind::Answer, .flags = peer.header().flags};
    static_cast<void>(sendFrame(peer.descriptor(), header, bytes, {}));
    outcome = outcomeOf(peer);
  }
  report(outcome);
  _exit(0);
}

/// Connects, queues a request, and executes a trusted program, while a child of its keeps the socket.
int becomeTrusted(const char* name, const char* program) {
  Fd socket = connectBare(name);
  {
    EncodedObject body;
    EXPECT_EQ(body.encode(text("x")), VANTO_ERROR_NONE);
    const FrameHeader header{.kind = FrameKind::Request, .id = 1, .length = body.bytes().size()};
    static_cast<void>(sendFrame(socket.get(), header, body.bytes(), {}));
  }
  report("connected");
  if (fork() == 0) answerInItsPlace(std::move(socket));
  execl(program, program, "hold", nullptr);
  return 1;
}

/// Answers a greeting that the program saw which this process was before.
int answerAs(int socket, const char* nonce) {
  RawPeer peer{Fd(socket)};
  Greeting greeting{.windowMessages = 256, .windowBytes = 1 << 20};
  for (std::uint8_t& byte : greeting.nonce) {
    char* end = nullptr;
    byte = static_cast<std::uint8_t>(std::strtoul(nonce, &end, 10));
    nonce = end + 1;
  }
  peer.sendGreeting(FrameKind::Answer, greeting, frameHasNonce);
  report(outcomeOf(peer));
  return 0;
}

/// Is greeted, and executes another program that answers.
int becomeOther(const char* name, const char* program) {
  const Fd socket = connectBare(name);
  const int kept = dup(socket.get());
  RawPeer peer(Fd(dup(socket.get())));
  if (!peer.receive() || peer.header().kind != FrameKind::Greeting) return report("refused"), 0;
  Greeting greeting;
  static_cast<void>(decodeGreeting(peer.payload().data(), greeting));
  std::string nonce;
  for (const std::uint8_t byte : greeting.nonce) nonce += std::to_string(byte) + ",";
  execl(program, program, "answer", std::to_string(kept).c_str(), nonce.c_str(), nullptr);
  return 1;
}

/// Connects and dies, so that its process id becomes free; a child keeps the socket.
int leaveSocket(const char* name) {
  Fd socket = connectBare(name);
  if (fork() == 0) answerInItsPlace(std::move(socket));
  report("connected");
  return 0;
}

/// A client that is admitted and gives its connection to a child.
int passOn(const char* name) {
  RawPeer peer(connectBare(name));
  if (!peer.receive() || peer.header().kind != FrameKind::Greeting) return report("refused"), 0;
  Greeting greeting;
  static_cast<void>(decodeGreeting(peer.payload().data(), greeting));
  peer.sendGreeting(FrameKind::Answer, greeting, peer.header().flags);
  const pid_t child = fork();
  if (child != 0) return awaitGate(), 0;
  report(outcomeOf(peer));
  return 0;
}

int dieAt(std::string_view step, const char* name) {
  RawPeer peer(connectBare(name));
  if (step == "connected") raise(SIGKILL);
  static_cast<void>(peer.receive());
  if (step == "greeted") raise(SIGKILL);
  Greeting greeting;
  static_cast<void>(decodeGreeting(peer.payload().data(), greeting));
  peer.sendGreeting(FrameKind::Answer, greeting, peer.header().flags);
  if (step == "answered") raise(SIGKILL);
  peer.sendObject(FrameKind::Request, 1, text("x"));
  raise(SIGKILL);
  return 0;
}

int run(int count, char** arguments) {
  const std::string_view mode = count > 1 ? arguments[1] : "";
  if (mode == "call") return call(arguments[2]);
  if (mode == "call-when-told") return callWhenTold(arguments[2]);
  if (mode == "call-traced") return callTraced(arguments[2]);
  if (mode == "look-at-service") return lookAtService(arguments[2]);
  if (mode == "entitlement") return reportEntitlement(arguments[2]);
  if (mode == "become-trusted") return becomeTrusted(arguments[2], arguments[3]);
  if (mode == "become-other") return becomeOther(arguments[2], arguments[3]);
  if (mode == "answer") return answerAs(std::atoi(arguments[2]), arguments[3]);
  if (mode == "leave-socket") return leaveSocket(arguments[2]);
  if (mode == "pass-on") return passOn(arguments[2]);
  if (mode == "die") return dieAt(arguments[2], arguments[3]);
  if (mode == "hold") return report("holding"), awaitGate(), 0;
  return 99;
}

}  // namespace
}  // namespace vanto::test

int main(int count, char** arguments) {
  return vanto::test::run(count, arguments);
}

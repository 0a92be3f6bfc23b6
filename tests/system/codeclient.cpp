// SPDX-License-Identifier: Apache-2.0

// A client whose code is looked at. Its first argument says what it does; it reports lines on its standard output.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
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

void writeTo(const char* path, const std::string& text) {
  const Fd file(open(path, O_WRONLY | O_CLOEXEC));
  if (write(file.get(), text.data(), text.size()) < 0) report(std::string(path) + ": " + std::strerror(errno));
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

sockaddr_un addressOf(const char* name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s/vanto/user/%s", getenv("XDG_RUNTIME_DIR"), name);
  return address;
}

/// Connects without answering.
Fd connectBare(const char* name) {
  Fd made(socket(AF_UNIX, SOCK_SEQPACKET, 0));
  const sockaddr_un address = addressOf(name);
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
  peer.sendAnswerTo(nonce);
  report(outcomeOf(peer));
  return 0;
}

/// Is greeted, and executes another program that answers.
int becomeOther(const char* name, const char* program) {
  const Fd socket = connectBare(name);
  const int kept = dup(socket.get());
  RawPeer peer(Fd(dup(socket.get())));
  if (!peer.receive() || peer.header().kind != FrameKind::Greeting) return report("refused"), 0;
  execl(program, program, "answer", std::to_string(kept).c_str(), peer.nonceText().c_str(), nullptr);
  return 1;
}

/// Is greeted, and answers when it is told to: the code with which the service says goodbye.
int answerWhenTold(const char* name) {
  RawPeer peer(connectBare(name));
  if (!peer.receive() || peer.header().kind != FrameKind::Greeting) return report("refused"), 0;
  report("greeted");
  awaitGate();
  peer.sendAnswerTo(peer.nonceText().c_str());
  report(std::to_string(peer.awaitEnd()));
  return 0;
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

/// Enters user and pid namespaces of its own, and goes on in a child that is the first process there. False where that
/// is not allowed.
bool becomeFirstOfNamespace() {
  const std::string user = std::to_string(getuid()) + " " + std::to_string(getuid()) + " 1";
  const std::string group = std::to_string(getgid()) + " " + std::to_string(getgid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) return false;
  writeTo("/proc/self/setgroups", "deny");
  writeTo("/proc/self/uid_map", user);
  writeTo("/proc/self/gid_map", group);
  const pid_t first = fork();
  if (first != 0) {
    while (waitpid(first, nullptr, 0) < 0 && errno == EINTR) {
    }
    _exit(0);
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  return true;
}

/// Sends a frame in the name of another process.
void sendAs(pid_t sender, int socket, const FrameHeader& header, std::span<const std::uint8_t> payload) {
  std::uint8_t bytes[frameHeaderBytes];
  encodeHeader(header, bytes);
  iovec parts[2] = {{bytes, sizeof bytes}, {const_cast<std::uint8_t*>(payload.data()), payload.size()}};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* const credentials = CMSG_FIRSTHDR(&message);
  credentials->cmsg_level = SOL_SOCKET;
  credentials->cmsg_type = SCM_CREDENTIALS;
  credentials->cmsg_len = CMSG_LEN(sizeof(ucred));
  const ucred forged{sender, getuid(), getgid()};
  std::memcpy(CMSG_DATA(credentials), &forged, sizeof forged);
  if (sendmsg(socket, &message, MSG_NOSIGNAL) < 0) report(std::string("cannot send: ") + std::strerror(errno));
}

/// A child that shares the descriptors of this process.
pid_t forkWithDescriptors() {
  return static_cast<pid_t>(syscall(SYS_clone, CLONE_FILES | SIGCHLD, nullptr, nullptr, nullptr, nullptr));
}

/// Connects, and executes a trusted program, while the first process of its namespace keeps the socket and speaks in
/// its name.
int forge(const char* name, const char* program) {
  if (!becomeFirstOfNamespace()) return report("no namespace"), 0;
  int numbers[2];
  if (pipe(numbers) != 0) return 1;
  const pid_t client = forkWithDescriptors();
  if (client == 0) {
    const int socket = connectBare(name).release();
    report("connected");
    if (write(numbers[1], &socket, sizeof socket) < 0) _exit(97);
    execl(program, program, "hold", nullptr);
    _exit(1);
  }
  int socket = -1;
  if (read(numbers[0], &socket, sizeof socket) != sizeof socket) return 1;
  RawPeer peer{Fd(socket)};
  if (!peer.receive() || peer.header().kind != FrameKind::Greeting) return report("refused"), 0;
  const FrameHeader answer{.kind = FrameKind::Answer, .flags = peer.header().flags};
  sendAs(client, peer.descriptor(), answer, peer.payload());
  EncodedObject body;
  EXPECT_EQ(body.encode(text("x")), VANTO_ERROR_NONE);
  sendAs(client, peer.descriptor(), {.kind = FrameKind::Request, .id = 1, .length = body.bytes().size()}, body.bytes());
  while (peer.receive()) {
    if (peer.header().kind == FrameKind::Reply) return report("served"), 0;
  }
  return report("dropped"), 0;
}

/// Answers the clients of a name in that of a trusted program in its namespace.
int forgeService(const char* name, const char* program) {
  const sockaddr_un address = addressOf(name);
  if (!becomeFirstOfNamespace()) return report("no namespace"), 0;
  const Fd listener(socket(AF_UNIX, SOCK_SEQPACKET, 0));
  if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return 1;
  if (listen(listener.get(), 1) != 0) return 1;
  const pid_t trusted = fork();
  if (trusted == 0) {
    execl(program, program, "hold", nullptr);
    _exit(1);
  }
  const Fd client(accept(listener.get(), nullptr, nullptr));
  const Greeting greeting{.windowMessages = 256, .windowBytes = 1 << 20};
  std::uint8_t bytes[greetingBytes];
  encodeGreeting(greeting, bytes);
  sendAs(trusted, client.get(), {.kind = FrameKind::Greeting}, bytes);
  return awaitGate(), 0;
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
  // Sanitizers cannot look for leaks in who is traced.
  if (mode == "call-traced") _exit(callTraced(arguments[2]));
  if (mode == "look-at-service") return lookAtService(arguments[2]);
  if (mode == "entitlement") return reportEntitlement(arguments[2]);
  if (mode == "become-trusted") return becomeTrusted(arguments[2], arguments[3]);
  if (mode == "become-other") return becomeOther(arguments[2], arguments[3]);
  if (mode == "answer") return answerAs(std::atoi(arguments[2]), arguments[3]);
  if (mode == "answer-when-told") return answerWhenTold(arguments[2]);
  if (mode == "leave-socket") return leaveSocket(arguments[2]);
  if (mode == "pass-on") return passOn(arguments[2]);
  if (mode == "forge") return forge(arguments[2], arguments[3]);
  if (mode == "forge-service") return forgeService(arguments[2], arguments[3]);
  if (mode == "die") return dieAt(arguments[2], arguments[3]);
  if (mode == "hold") return report("holding"), awaitGate(), 0;
  return 99;
}

}  // namespace
}  // namespace vanto::test

int main(int count, char** arguments) {
  return vanto::test::run(count, arguments);
}

// SPDX-License-Identifier: Apache-2.0
#include "ipc/Listener.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "support/OpenDescriptors.h"
#include "value/limits.h"
#include "value/platform/signing.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.listener";

/// What the evaluator of the running test was asked, and what it does and answers.
Awaited<audit_token_t>* asked = nullptr;
std::atomic<bool> admits{true};
std::atomic<bool> asksForCode{true};

bool evaluate(audit_token_t token) {
  if (asked != nullptr) asked->add(token);
  if (!asksForCode) return admits;
  const auto pid = static_cast<std::int32_t>(token.val[0]);
  PlistNumber* number = PlistNumber::create(KorNumberSInt32Type, &pid).asTemporary();
  const PlistDictionary::Entry entry{kVexGuestAttributePid, number};
  PlistDictionary* attributes = PlistDictionary::create({&entry, 1}).asTemporary();
  VexCode* code = nullptr;
  static_cast<void>(VexCodeCopyGuestWithAttributes(nullptr, attributes, 0, &code));
  return admits;
}

/// An evaluator for the length of a test.
class Evaluated {
 public:
  enum class Asks : std::uint8_t { ForCode, ForNothing };

  explicit Evaluated(bool answer, Asks asks = Asks::ForCode) {
    admits = answer;
    asksForCode = asks == Asks::ForCode;
    asked = &tokens;
    vanto_handle_service(nullptr, nullptr, evaluate);
  }
  ~Evaluated() {
    vanto_handle_service(nullptr, nullptr, nullptr);
    asked = nullptr;
  }

  Awaited<audit_token_t> tokens;
};

TEST(Listener, AsksTheEvaluatorOnceForEachPeer) {
  const RuntimeDirectory directory;
  Evaluated evaluated(true);
  const Service service(name);
  for (std::size_t count = 1; count <= 3; count++) {
    const Held connection = connectTo(name);
    EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
    EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("y"))), "y");
    EXPECT_EQ(evaluated.tokens.count(), count);
  }
  const audit_token_t token = evaluated.tokens.await().at(0);
  pid_t pid = 0;
  uid_t effective = 0;
  uid_t real = 0;
  audit_token_to_au32(token, nullptr, &effective, nullptr, &real, nullptr, &pid, nullptr, nullptr);
  EXPECT_EQ(pid, getpid());
  EXPECT_EQ(effective, geteuid());
  EXPECT_EQ(real, getuid());
  EXPECT_EQ(startTimeOfAuditToken(token), readStartTime(getpid()));
}

TEST(Listener, RefusesWhomTheEvaluatorRefuses) {
  const RuntimeDirectory directory;
  Evaluated evaluated(false);
  Service service(name);
  for (int i = 0; i < 2; i++) {
    const Held refused(vanto_connect(name, nullptr, generous));
    EXPECT_EQ(codeOf(refused), VANTO_ERROR_REFUSED);
  }
  EXPECT_EQ(evaluated.tokens.count(), 2U);
  EXPECT_EQ(service.connections.count(), 0U);
  admits = true;
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
}

TEST(Listener, GreetsWithoutANonceWhenNobodyIsJudged) {
  const RuntimeDirectory directory;
  const Service service(name);
  RawPeer peer = RawPeer::connectTo(name);
  ASSERT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().flags, 0);
  EXPECT_EQ(peer.sender().pid, getpid());
  Greeting greeting;
  ASSERT_TRUE(decodeGreeting(peer.payload().data(), greeting));
  EXPECT_EQ(greeting.lowestVersion, 1);
  EXPECT_EQ(greeting.highestVersion, 1);
  EXPECT_EQ(greeting.windowMessages, 256U);
  EXPECT_EQ(greeting.windowBytes, std::uint32_t{1} << 20);
}

TEST(Listener, AsksForTheNonceOfAJudgedPeer) {
  const RuntimeDirectory directory;
  Evaluated evaluated(true);
  Service service(name);
  std::vector<std::uint8_t> last;
  for (const int wrong : {0, 1, 2}) {
    RawPeer peer = RawPeer::connectTo(name);
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().flags, frameHasNonce);
    Greeting greeting;
    ASSERT_TRUE(decodeGreeting(peer.payload().data(), greeting));
    const std::vector<std::uint8_t> nonce(greeting.nonce, greeting.nonce + nonceBytes);
    EXPECT_NE(nonce, last);
    last = nonce;
    if (wrong == 1) greeting.nonce[15] ^= 1;
    peer.sendGreeting(FrameKind::Answer, greeting, wrong == 2 ? 0 : frameHasNonce);
    if (wrong != 0) {
      EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
    } else {
      peer.sendObject(FrameKind::Request, 1, text("x"));
      EXPECT_TRUE(peer.receiveKind(FrameKind::Reply));
    }
  }
  EXPECT_EQ(service.connections.count(), 1U);
}

/// A socket that another process connects and this one sees the other end's frames on.
Fd createShared() {
  Fd created(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  EXPECT_TRUE(enableSenderCredentials(created.get()));
  // What never comes is a failure, not a wait without end.
  const timeval longest{60, 0};
  EXPECT_EQ(setsockopt(created.get(), SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest), 0);
  return created;
}

/// Has a client die in the backlog of a service that comes later and judges it. The service's first frame to it.
RawPeer judgeDeadClient(const char* evaluation) {
  RawService backlog(name);
  Fd shared = createShared();
  const Process client({"change-as-client", "die-at-once", std::to_string(shared.get()), name}, {shared.get()});
  EXPECT_EQ(client.await(), "signal 9");
  const Process service({"serve-judged", evaluation, name}, {}, handOver({backlog.descriptor()}, name));
  EXPECT_EQ(service.line(), "ready");
  RawPeer peer(std::move(shared));
  EXPECT_TRUE(peer.receive());
  return peer;
}

TEST(Listener, RefusesAPeerThatIsGoneWhenItIsJudgedByItsCode) {
  const RuntimeDirectory directory;
  const RawPeer peer = judgeDeadClient("by-code");
  EXPECT_EQ(peer.header().kind, FrameKind::Refusal);
  EXPECT_EQ(peer.code(), VANTO_ERROR_REFUSED);
}

TEST(Listener, LeavesAPeerThatIsGoneToAnEvaluatorThatAsksForNothing) {
  const RuntimeDirectory directory;
  const RawPeer peer = judgeDeadClient("by-nothing");
  EXPECT_EQ(peer.header().kind, FrameKind::Greeting);
  EXPECT_EQ(peer.header().flags, 0);
}

TEST(Listener, DropsAPeerThatDiesBeforeItsAnswerIsRead) {
  const RuntimeDirectory directory;
  const Process service({"serve-judged", "by-code", name});
  ASSERT_EQ(service.line(), "ready");
  // Waited for by its parent, or still to be seen in the table of processes.
  for (const bool isAwaited : {false, true}) {
    Gate gate;
    Fd shared = createShared();
    const Process client({"change-as-client", "die", std::to_string(shared.get()), name}, {shared.get()},
                         [&] { gate.becomeInput(); });
    ASSERT_EQ(client.line(), "greeted");
    service.signal(SIGSTOP);
    service.awaitState(WSTOPPED);
    gate.open();
    client.awaitState(WEXITED);
    if (isAwaited) {
      EXPECT_EQ(client.await(), "signal 9");
    }
    service.signal(SIGCONT);
    EXPECT_EQ(RawPeer(std::move(shared)).awaitEnd(), VANTO_ERROR_PROTOCOL);
  }
}

TEST(Listener, DropsAPeerThatExecutesAnotherProgramBeforeItAnswers) {
  const RuntimeDirectory directory;
  const TemporaryDirectory programs;
  const std::string other = programs / "other";
  std::filesystem::copy_file(VANTO_IPC_PEER, other);
  const Process service({"serve-judged", "by-code", name});
  ASSERT_EQ(service.line(), "ready");
  for (const bool isOther : {false, true}) {
    Gate gate;
    const Fd shared = createShared();
    const Process client(
        {"change-as-client", "execute", std::to_string(shared.get()), name, isOther ? other : VANTO_IPC_PEER},
        {shared.get()}, [&] { gate.becomeInput(); });
    ASSERT_EQ(client.line(), "greeted");
    gate.open();
    EXPECT_EQ(client.line(), isOther ? std::to_string(VANTO_ERROR_PROTOCOL) : "served");
  }
}

TEST(Listener, AsksForNoNonceWhereTheEvaluatorAsksForNothing) {
  const RuntimeDirectory directory;
  Evaluated evaluated(true, Evaluated::Asks::ForNothing);
  const Service service(name);
  RawPeer peer = RawPeer::connectTo(name);
  ASSERT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().flags, 0);
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
  EXPECT_EQ(evaluated.tokens.count(), 2U);
}

/// Has the kernel say that it does not know the option that gives a descriptor of the peer's process.
void denyPeerProcess() {
  constexpr std::uint32_t option = 77;
  sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_getsockopt, 0, 3),
                          BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, option, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOPROTOOPT),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program{static_cast<unsigned short>(std::size(filter)), filter};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    _exit(125);
  }
}

TEST(Listener, JudgesPeersWhereTheKernelGivesNoDescriptorOfThem) {
  const RuntimeDirectory directory;
  const Process service({"serve-judged", "by-code", name}, {}, denyPeerProcess);
  ASSERT_EQ(service.line(), "ready");
  RawPeer peer = RawPeer::connectTo(name);
  ASSERT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().flags, frameHasNonce);
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
}

/// Makes a process that sees no process but itself; the one that was forked waits for it.
void enterProcessNamespace() {
  if (unshare(CLONE_NEWPID) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) _exit(124);
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    return;
  }
  int status = 0;
  waitpid(child, &status, 0);
  _exit(0);
}

TEST(Listener, LeavesPeersOfAForeignNamespaceToTheEvaluator) {
  const RuntimeDirectory directory;
  for (const bool isByCode : {false, true}) {
    const Process service({"serve-judged", isByCode ? "by-code" : "by-nothing", name}, {}, enterProcessNamespace);
    if (service.line() != "ready") GTEST_SKIP() << "a process may not make a namespace here";
    const Held connection(vanto_connect(name, nullptr, generous));
    EXPECT_EQ(codeOf(connection), isByCode ? VANTO_ERROR_REFUSED : VANTO_ERROR_NONE);
    if (!isByCode) {
      EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
    }
  }
}

TEST(Listener, AnswersThatOfferAnotherVersionAreRefused) {
  const RuntimeDirectory directory;
  const Service service(name);
  for (const auto& [lowest, highest] : {std::pair{1, 2}, std::pair{2, 2}}) {
    RawPeer peer = RawPeer::connectTo(name);
    ASSERT_TRUE(peer.receive());
    peer.sendGreeting(FrameKind::Answer, {.lowestVersion = static_cast<std::uint8_t>(lowest),
                                          .highestVersion = static_cast<std::uint8_t>(highest),
                                          .windowMessages = 1,
                                          .windowBytes = 1});
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
  }
}

TEST(Listener, AdmitsSoManyConnectionsOfOneUser) {
  const RuntimeDirectory directory;
  Service service(name);
  vanto_set_connections_per_user(3);
  std::vector<Held> connections;
  for (int i = 0; i < 3; i++) connections.push_back(connectTo(name));
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  connections.pop_back();
  // The place is free when the service has noticed.
  Held again;
  do again = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(again) == VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_string_get_text(callWith(again, text("x"))), "x");
  vanto_set_connections_per_user(0);
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_string_get_text(callWith(again, text("x"))), "x");
  vanto_set_connections_per_user(limits::ipcConnectionsPerUser);
}

TEST(Listener, APeerThatDoesNotAnswerTakesAPlaceUntilItGoes) {
  const RuntimeDirectory directory;
  const Service service(name);
  vanto_set_connections_per_user(1);
  {
    RawPeer silent = RawPeer::connectTo(name);
    ASSERT_TRUE(silent.receive());
    EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  }
  Held next;
  do next = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(next) == VANTO_ERROR_FULL);
  vanto_set_connections_per_user(limits::ipcConnectionsPerUser);
  EXPECT_STREQ(vanto_string_get_text(callWith(next, text("x"))), "x");
}

TEST(Listener, APeerThatDoesNotAnswerIsGivenUpAfterAWhile) {
  const RuntimeDirectory directory;
  Service service(name);
  const std::uint64_t start = monotonicNow();
  RawPeer silent = RawPeer::connectTo(name);
  ASSERT_TRUE(silent.receive());
  EXPECT_FALSE(silent.receive());
  EXPECT_GE(monotonicNow() - start, limits::ipcGreetingNanoseconds);
  EXPECT_LT(monotonicNow() - start, limits::ipcGreetingNanoseconds * 8 / 5);
  EXPECT_EQ(service.connections.count(), 0U);
}

/// Connects to a service until it has no descriptors left.
void exhaust(std::vector<std::string> arguments) {
  const Process child(std::move(arguments), {}, [] {
    // Those of the standard streams, the listener, the workers, and no more than a few.
    const rlimit few{16, 16};
    setrlimit(RLIMIT_NOFILE, &few);
  });
  ASSERT_EQ(child.line(), "ready");
  std::vector<Held> connections;
  vanto_error_code_t code = VANTO_ERROR_NONE;
  while (code == VANTO_ERROR_NONE && connections.size() < 100) {
    connections.emplace_back(vanto_connect(name, nullptr, generous));
    code = codeOf(connections.back());
  }
  EXPECT_EQ(code, VANTO_ERROR_FULL);
  EXPECT_LT(connections.size(), 16U);
  // Who was admitted is served, and there is room again when one goes.
  EXPECT_STREQ(vanto_string_get_text(callWith(connections[0], text("x"))), "x");
  connections.resize(1);
  Held next;
  do next = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(next) == VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_string_get_text(callWith(next, text("y"))), "y");
}

TEST(Listener, TurnsClientsAwayWhenThereAreNoDescriptors) {
  const RuntimeDirectory directory;
  exhaust({"serve", name});
}

TEST(Listener, TurnsClientsAwayWhenThereAreNoDescriptorsToJudgeThem) {
  const RuntimeDirectory directory;
  exhaust({"serve-judged", "by-code", name});
}

TEST(Listener, TellsWhenItsNameIsInUse) {
  const RuntimeDirectory directory;
  const Service service(name);
  Service second(name);
  EXPECT_EQ(second.errors.await().at(0), VANTO_ERROR_IN_USE);
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
}

TEST(Listener, TellsWhenItsNameIsNone) {
  const RuntimeDirectory directory;
  for (const std::string& bad : {std::string(), std::string(256, 'x'), std::string("\xFF")}) {
    Service service(bad.c_str());
    EXPECT_EQ(service.errors.await().at(0), VANTO_ERROR_NAME);
  }
}

TEST(Listener, GivesItsNameBackWhenItIsClosed) {
  const RuntimeDirectory directory;
  for (int i = 0; i < 3; i++) {
    const Service service(name);
    EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
  }
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_NO_SERVICE);
  EXPECT_NE(access(directory.socketPath(name).c_str(), F_OK), 0);
}

TEST(Listener, OpenConnectionsOutliveIt) {
  const RuntimeDirectory directory;
  std::optional<Service> service(std::in_place, name);
  const Held connection = connectTo(name);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
  vanto_close(service->listener());
  static_cast<void>(service->errors.await());
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("y"))), "y");
}

TEST(Listener, NothingHappensBeforeItIsResumed) {
  const RuntimeDirectory directory;
  const Held listener(vanto_connection_create_listener(name, nullptr));
  EXPECT_EQ(vanto_kind(listener), VANTO_KIND_LISTENER);
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_NO_SERVICE);
}

TEST(Listener, ServesOnTheGivenQueue) {
  const RuntimeDirectory directory;
  dispatch_queue_t queue = dispatch_queue_create("serving", nullptr);
  const Held listener(vanto_connection_create_listener(name, queue));
  std::atomic<int> running{0};
  std::atomic<int> most{0};
  Awaited<int> ends;
  vanto_connection_set_event_handler(listener, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_CONNECTION) return ends.add(0);
    vanto_connection_set_event_handler(event, [&](vanto_object_t connection, vanto_object_t message) {
      most = std::max(most.load(), ++running);
      Service::echo(connection, message);
      running--;
      if (vanto_kind(message) == VANTO_KIND_ERROR) ends.add(1);
    });
    vanto_connection_resume(event);
  });
  vanto_connection_resume(listener);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; i++) {
    threads.emplace_back([&] {
      const Held connection = connectTo(name);
      for (int call = 0; call < 200; call++) callWith(connection, text("x"));
    });
  }
  for (std::thread& thread : threads) thread.join();
  vanto_close(listener);
  static_cast<void>(ends.await(5));
  EXPECT_EQ(most, 1);
  dispatch_queue_release(queue);
}

TEST(Listener, AServiceFinishesWhatItHoldsWhenAskedToEnd) {
  const RuntimeDirectory directory;
  int gate[2];
  ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
  const Process child({"serve-until-terminated", name}, {}, [&] { dup2(gate[0], STDIN_FILENO); });
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  Awaited<std::size_t> replies;
  vanto_call_async(connection, text("x"), generous,
                   [&](vanto_object_t reply) { replies.add(vanto_data_get_length(reply)); });
  EXPECT_EQ(child.line(), "got one");
  child.signal(SIGTERM);
  // It stops accepting before it is done.
  Held other;
  do other = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(other) == VANTO_ERROR_NONE);
  EXPECT_EQ(codeOf(other), VANTO_ERROR_NO_SERVICE);
  EXPECT_EQ(write(gate[1], "x", 1), 1);
  EXPECT_EQ(replies.await().at(0), std::size_t{3} << 20);
  EXPECT_EQ(child.await(), "exit status 0");
  close(gate[0]);
  close(gate[1]);
}

TEST(Listener, AHandlerThatRunsReturnsBeforeTheProcessEnds) {
  const RuntimeDirectory directory;
  for (const std::string what : {"message", "connection", "reply"}) {
    Gate gate;
    const Process child({"end-during", what, name}, {}, [&] { gate.becomeInput(); });
    Held connection;
    Awaited<std::string> replies;
    if (what == "reply") {
      // It calls itself.
      std::vector<std::string> lines{child.line(), child.line()};
      std::sort(lines.begin(), lines.end());
      ASSERT_EQ(lines, (std::vector<std::string>{"entered", "ready"}));
    } else {
      ASSERT_EQ(child.line(), "ready");
      connection = connectTo(name);
      vanto_call_async(connection, text("x"), generous, [&](vanto_object_t reply) {
        replies.add(vanto_kind(reply) == VANTO_KIND_STRING ? vanto_string_get_text(reply) : "error");
      });
      ASSERT_EQ(child.line(), "entered");
    }
    child.signal(SIGTERM);
    ASSERT_EQ(child.line(), "ending") << what;
    if (what == "message") {
      EXPECT_EQ(replies.await().at(0), "x");
    }
    gate.open();
    EXPECT_EQ(child.line(), "left") << what;
    EXPECT_EQ(child.await(), "exit status 0");
    if (connection) static_cast<void>(replies.await());
  }
}

TEST(Listener, IsClosedFromTheStartInAProcessThatWasAskedToEnd) {
  const RuntimeDirectory directory;
  Gate gate;
  const Process child({"listen-too-late", name, "org.example.late"}, {}, [&] { gate.becomeInput(); });
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  Awaited<int> replies;
  vanto_call_async(connection, text("x"), generous, [&](vanto_object_t) { replies.add(0); });
  ASSERT_EQ(child.line(), "got one");
  child.signal(SIGTERM);
  ASSERT_EQ(child.line(), "resumed");
  EXPECT_EQ(codeOf(Held(vanto_connect("org.example.late", nullptr, generous))), VANTO_ERROR_NO_SERVICE);
  gate.open();
  static_cast<void>(replies.await());
  EXPECT_EQ(child.await(), "exit status 0");
}

TEST(Listener, AwaitsItsEndThoughAnEarlierOneCouldNot) {
  const RuntimeDirectory directory;
  const Process child({"listen-twice", name});
  ASSERT_EQ(child.line(), std::to_string(VANTO_ERROR_SYSTEM) + " ready");
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
  child.signal(SIGTERM);
  EXPECT_EQ(child.await(), "exit status 0");
}

TEST(Listener, AnIdleServiceEndsAtOnceWhenAskedTo) {
  const RuntimeDirectory directory;
  const Process child({"serve", name});
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
  child.signal(SIGTERM);
  EXPECT_EQ(child.await(), "exit status 0");
  EXPECT_NE(access(directory.socketPath(name).c_str(), F_OK), 0);
}

TEST(Listener, AHandlerThatThrowsAbortsTheProcess) {
  const RuntimeDirectory directory;
  const Process child({"serve", name});
  ASSERT_EQ(child.line(), "ready");
  const Held connection = connectTo(name);
  EXPECT_EQ(codeOf(callWith(connection, text("throw"))), VANTO_ERROR_CLOSED);
  EXPECT_EQ(child.await(), "signal 6");
}

}  // namespace
}  // namespace vanto::test

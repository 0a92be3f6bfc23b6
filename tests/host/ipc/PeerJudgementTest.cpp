// SPDX-License-Identifier: Apache-2.0
#include "ipc/PeerJudgement.h"

#include <atomic>
#include <filesystem>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>

#include "host/ipc/IPCFixture.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "value/platform/signing.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.judged";

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

TEST(PeerJudgement, AsksTheEvaluatorOnceForEachPeer) {
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

TEST(PeerJudgement, TellsTheStartTimeOfWhoWasJudgedToo) {
  const RuntimeDirectory directory;
  const Evaluated evaluated(true);
  Awaited<vanto_identity_t> identities;
  const Service service(name, [&identities](vanto_object_t connection, vanto_object_t event) {
    vanto_identity_t identity{};
    const bool isAsked = vanto_kind(event) == VANTO_KIND_MESSAGE && vanto_peer_identity(connection, &identity);
    if (isAsked) identities.add(identity);
    Service::echo(connection, event);
  });
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "x");
  EXPECT_EQ(startTimeOfAuditToken(identities.take().token), readStartTime(getpid()));
}

TEST(PeerJudgement, RefusesWhomTheEvaluatorRefuses) {
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

TEST(PeerJudgement, AsksForTheNonceOfAJudgedPeer) {
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

TEST(PeerJudgement, RefusesAPeerThatIsGoneWhenItIsJudgedByItsCode) {
  const RuntimeDirectory directory;
  const RawPeer peer = judgeDeadClient("by-code");
  EXPECT_EQ(peer.header().kind, FrameKind::Refusal);
  EXPECT_EQ(peer.code(), VANTO_ERROR_REFUSED);
}

TEST(PeerJudgement, LeavesAPeerThatIsGoneToAnEvaluatorThatAsksForNothing) {
  const RuntimeDirectory directory;
  const RawPeer peer = judgeDeadClient("by-nothing");
  EXPECT_EQ(peer.header().kind, FrameKind::Greeting);
  EXPECT_EQ(peer.header().flags, 0);
}

TEST(PeerJudgement, DropsAPeerThatDiesBeforeItsAnswerIsRead) {
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

TEST(PeerJudgement, DropsAPeerThatExecutesAnotherProgramBeforeItAnswers) {
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

TEST(PeerJudgement, AsksForNoNonceWhereTheEvaluatorAsksForNothing) {
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

TEST(PeerJudgement, JudgesPeersWhereTheKernelGivesNoDescriptorOfThem) {
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

TEST(PeerJudgement, LeavesPeersOfAForeignNamespaceToTheEvaluator) {
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

}  // namespace
}  // namespace vanto::test

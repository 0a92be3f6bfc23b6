// SPDX-License-Identifier: Apache-2.0
#include "ipc/Listener.h"

#include <atomic>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

#include "host/ipc/IPCFixture.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "ipc/UserLimit.h"
#include "support/OpenDescriptors.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.listener";

/// What the evaluator of the running test was asked, and what it answers.
Awaited<audit_token_t>* asked = nullptr;
std::atomic<bool> admits{true};

bool evaluate(audit_token_t token) {
  if (asked != nullptr) asked->add(token);
  return admits;
}

/// An evaluator for the length of a test.
class Evaluated {
 public:
  explicit Evaluated(bool answer) {
    admits = answer;
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

TEST(Listener, RefusesAPeerThatIsGoneWhenItIsJudged) {
  const RuntimeDirectory directory;
  Evaluated evaluated(true);
  std::optional<Process> child;
  {
    // The client is dead before anybody accepts.
    RawService backlog("org.example.backlog");
    child.emplace(std::vector<std::string>{"die-as-client", "connected", "org.example.backlog"});
    EXPECT_EQ(child->await(), "signal 9");
    const RawPeer accepted = backlog.accept();
    ProcessFacts facts;
    ASSERT_TRUE(readPeerCredentials(accepted.descriptor(), facts));
    EXPECT_FALSE(readProcessFacts(facts));
    EXPECT_FALSE(isRunning(openPeerProcess(accepted.descriptor())));
  }
  EXPECT_EQ(evaluated.tokens.count(), 0U);
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
  UserLimit::setConnections(3);
  std::vector<Held> connections;
  for (int i = 0; i < 3; i++) connections.push_back(connectTo(name));
  EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  connections.pop_back();
  // The place is free when the service has noticed.
  Held again;
  do again = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(again) == VANTO_ERROR_FULL);
  EXPECT_STREQ(vanto_string_get_text(callWith(again, text("x"))), "x");
  UserLimit::setConnections(limits::ipcConnectionsPerUser);
}

TEST(Listener, APeerThatDoesNotAnswerTakesAPlaceUntilItGoes) {
  const RuntimeDirectory directory;
  const Service service(name);
  UserLimit::setConnections(1);
  {
    RawPeer silent = RawPeer::connectTo(name);
    ASSERT_TRUE(silent.receive());
    EXPECT_EQ(codeOf(Held(vanto_connect(name, nullptr, generous))), VANTO_ERROR_FULL);
  }
  Held next;
  do next = Held(vanto_connect(name, nullptr, generous));
  while (codeOf(next) == VANTO_ERROR_FULL);
  UserLimit::setConnections(limits::ipcConnectionsPerUser);
  EXPECT_STREQ(vanto_string_get_text(callWith(next, text("x"))), "x");
}

TEST(Listener, APeerThatDoesNotAnswerIsGivenUpAfterAWhile) {
  const RuntimeDirectory directory;
  Service service(name);
  RawPeer silent = RawPeer::connectTo(name);
  ASSERT_TRUE(silent.receive());
  EXPECT_FALSE(silent.receive());
  EXPECT_EQ(service.connections.count(), 0U);
}

TEST(Listener, TurnsClientsAwayWhenThereAreNoDescriptors) {
  const RuntimeDirectory directory;
  const Process child({"serve", name}, {}, [] {
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

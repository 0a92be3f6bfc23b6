// SPDX-License-Identifier: Apache-2.0
#include "ipc/ClientConnect.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/ManagerEnd.h"
#include "host/ipc/RawPeer.h"
#include "ipc/Domain.h"
#include "ipc/Refusal.h"
#include "value/Fd.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.connect";

TEST(ClientConnect, FindsNoServiceWhereASocketOfAnotherTypeHasItsName) {
  for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
    const RuntimeDirectory directory;
    const Fd listener = createListener(directory, name, type);
    EXPECT_EQ(codeOf(connectToService(name, nullptr, generous).get()), VANTO_ERROR_NO_SERVICE);
  }
}

TEST(ClientConnect, FindsNoServiceWhereThereIsNone) {
  const RuntimeDirectory directory;
  EXPECT_EQ(codeOf(connectToService(name, nullptr, generous).get()), VANTO_ERROR_NO_SERVICE);
  EXPECT_EQ(codeOf(connectToService("", nullptr, generous).get()), VANTO_ERROR_NAME);
}

TEST(ClientConnect, PrefersTheSessionsService) {
  const RuntimeDirectory directory;
  setenv("XDG_SESSION_ID", "7", 1);
  EXPECT_TRUE(openOrCreateUserDomain());
  const Service ofUser(name, [](vanto_object_t, vanto_object_t event) { vanto_reply(event, text("user")); });
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "user");
  // The session's socket is made by its manager; another service's does for the test.
  const Service ofSession("other", [](vanto_object_t, vanto_object_t event) { vanto_reply(event, text("session")); });
  const std::string base = directory.directory() / "vanto/";
  ASSERT_EQ(mkdir((base + "session-7").c_str(), 0700), 0);
  ASSERT_EQ(link((base + "user/other").c_str(), (base + "session-7/" + name).c_str()), 0);
  EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), "session");
  unsetenv("XDG_SESSION_ID");
}

TEST(ClientConnect, FindsAServiceAgain) {
  const RuntimeDirectory directory;
  for (const char* answer : {"first", "second"}) {
    const Service service(name, [answer](vanto_object_t, vanto_object_t event) { vanto_reply(event, text(answer)); });
    for (int i = 0; i < 3; i++) EXPECT_STREQ(vanto_string_get_text(callWith(connectTo(name), text("x"))), answer);
  }
  EXPECT_EQ(codeOf(connectToService(name, nullptr, generous).get()), VANTO_ERROR_NO_SERVICE);
}

TEST(ClientConnect, FollowsNoLinkAlsoWhereTheWayIsKnown) {
  const RuntimeDirectory directory;
  const Service service(name);
  EXPECT_EQ(vanto_kind(connectTo(name)), VANTO_KIND_CONNECTION);
  ASSERT_EQ(symlink(name, directory.socketPath("link").c_str()), 0);
  EXPECT_EQ(codeOf(connectToService("link", nullptr, generous).get()), VANTO_ERROR_NO_SERVICE);
}

TEST(ClientConnect, EndsAtItsTimeoutWhenNobodyGreets) {
  const RuntimeDirectory directory;
  const RawService silent(name);
  EXPECT_EQ(codeOf(connectToService(name, nullptr, 20'000'000).get()), VANTO_ERROR_TIMED_OUT);
}

TEST(ClientConnect, TriesAgainWhenItIsNotGreeted) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::thread accepting([&] {
    for (int i = 0; i < 3; i++) service.accept().close();
    RawPeer peer = service.acceptAndGreet();
    EXPECT_FALSE(peer.receive());
  });
  EXPECT_EQ(connectToService(name, nullptr, generous)->kind(), VANTO_KIND_CONNECTION);
  accepting.join();
}

TEST(ClientConnect, TriesUntilItsTimeout) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::atomic<bool> isDone{false};
  std::atomic<int> attempts{0};
  std::thread accepting([&] {
    while (!isDone) {
      service.accept().close();
      attempts++;
    }
  });
  const vanto_error_code_t code = codeOf(connectToService(name, nullptr, 50'000'000).get());
  EXPECT_TRUE(code == VANTO_ERROR_CLOSED || code == VANTO_ERROR_TIMED_OUT) << code;
  isDone = true;
  EXPECT_NE(codeOf(connectToService(name, nullptr, 1).get()), VANTO_ERROR_NONE);
  accepting.join();
  // With pauses of 1, 2, 4, ... milliseconds.
  EXPECT_LE(attempts, 12);
}

TEST(ClientConnect, GivesTheCodeOfARefusal) {
  const RuntimeDirectory directory;
  RawService service(name);
  for (const auto& [sent, expected] :
       {std::pair{3U, 3}, std::pair{9U, 9}, std::pair{0U, 3}, std::pair{0xFFFFFFFFU, 3}}) {
    std::thread refusing([&, code = sent] { sendCode(service.accept().descriptor(), FrameKind::Refusal, code); });
    EXPECT_EQ(codeOf(connectToService(name, nullptr, generous).get()), expected);
    refusing.join();
  }
}

TEST(ClientConnect, GivesTheTextOfARefusal) {
  const RuntimeDirectory directory;
  RawService service(name);
  for (const std::string sent : {"org.example.connect: not started: held", ""}) {
    std::thread refusing([&] { sendRefusal(service.accept().descriptor(), VANTO_ERROR_START, sent); });
    const Ref<vanto_object> refused = connectToService(name, nullptr, generous);
    refusing.join();
    EXPECT_EQ(codeOf(refused.get()), VANTO_ERROR_START);
    EXPECT_STREQ(vanto_error_get_text(refused.get()), sent.empty() ? "the service could not be started" : sent.c_str());
  }
}

TEST(ClientConnect, DoesNotTryAgainWhenItIsRefused) {
  const RuntimeDirectory directory;
  RawService service(name);
  // Even with what it gives itself when nobody greets it.
  std::thread refusing([&] { sendRefusal(service.accept().descriptor(), VANTO_ERROR_CLOSED, "no"); });
  const Ref<vanto_object> refused = connectToService(name, nullptr, generous);
  refusing.join();
  EXPECT_EQ(codeOf(refused.get()), VANTO_ERROR_CLOSED);
  EXPECT_STREQ(vanto_error_get_text(refused.get()), "no");
}

TEST(ClientConnect, TakesNoTextThatIsNone) {
  const RuntimeDirectory directory;
  RawService service(name);
  for (const std::string& sent : {std::string("a\0b", 3), std::string("\xFF")}) {
    std::thread refusing([&] {
      std::vector<std::uint8_t> payload{15, 0, 0, 0};
      payload.insert(payload.end(), sent.begin(), sent.end());
      service.accept().send({.kind = FrameKind::Refusal}, payload);
    });
    EXPECT_EQ(codeOf(connectToService(name, nullptr, generous).get()), VANTO_ERROR_PROTOCOL);
    refusing.join();
  }
}

/// A service whose queue of clients is full, since it accepts nobody.
class FullService {
 public:
  FullService() {
    EXPECT_EQ(listen(service_.descriptor(), 0), 0);
    waiting_ = connectToSocket(openDomain(Domain::User).get(), name, UINT64_MAX);
    EXPECT_TRUE(waiting_);
  }

 private:
  RawService service_{name};
  Fd waiting_;
};

constexpr std::uint64_t bound = 50'000'000;

TEST(ClientConnect, EndsAtItsTimeoutWhenNobodyAccepts) {
  const RuntimeDirectory directory;
  const FullService service;
  const std::uint64_t start = monotonicNow();
  EXPECT_EQ(codeOf(connectToService(name, nullptr, bound).get()), VANTO_ERROR_TIMED_OUT);
  EXPECT_GE(monotonicNow() - start, bound);
  EXPECT_LT(monotonicNow() - start, 20 * bound);
  EXPECT_EQ(codeOf(connectToService(name, nullptr, 0).get()), VANTO_ERROR_TIMED_OUT);
}

TEST(ClientConnect, SignalsDoNotStretchItsTimeout) {
  const RuntimeDirectory directory;
  const FullService service;
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {
  };
  ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
  // Each interrupts the call long before its timeout.
  const timeval often{0, 5'000};
  const itimerval timer{often, often};
  ASSERT_EQ(setitimer(ITIMER_REAL, &timer, nullptr), 0);
  const std::uint64_t start = monotonicNow();
  EXPECT_EQ(codeOf(connectToService(name, nullptr, bound).get()), VANTO_ERROR_TIMED_OUT);
  EXPECT_GE(monotonicNow() - start, bound);
  EXPECT_LT(monotonicNow() - start, 20 * bound);
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
}

TEST(ClientConnect, LeavesAServiceThatSpeaksAnotherVersion) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::thread accepting([&] {
    service.accept().sendGreeting(FrameKind::Greeting,
                                  {.lowestVersion = 2, .highestVersion = 9, .windowMessages = 1, .windowBytes = 1});
  });
  EXPECT_EQ(codeOf(connectToService(name, nullptr, generous).get()), VANTO_ERROR_VERSION);
  accepting.join();
}

TEST(ClientConnect, ChoosesTheVersionThatItSpeaks) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::thread accepting([&] {
    RawPeer peer = service.accept();
    Greeting greeting{
        .lowestVersion = 1, .highestVersion = 9, .windowMessages = 1, .windowBytes = 1, .nonce = {5, 6, 7}};
    peer.sendGreeting(FrameKind::Greeting, greeting, frameHasNonce);
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().flags, frameHasNonce);
    Greeting answer;
    ASSERT_TRUE(decodeGreeting(peer.payload().data(), answer));
    EXPECT_EQ(answer.lowestVersion, 1);
    EXPECT_EQ(answer.highestVersion, 1);
    EXPECT_EQ(std::memcmp(answer.nonce, greeting.nonce, nonceBytes), 0);
  });
  EXPECT_EQ(connectToService(name, nullptr, generous)->kind(), VANTO_KIND_CONNECTION);
  accepting.join();
}

TEST(ClientConnect, LeavesAServiceThatGreetsInNoKnownWay) {
  const RuntimeDirectory directory;
  RawService service(name);
  std::thread accepting([&] {
    service.accept().sendObject(FrameKind::Message, 1, text("hello"));
    const std::uint8_t garbage[50] = {1, 2, 3};
    service.accept().sendBytes(garbage);
    service.accept().sendGreeting(FrameKind::Greeting, {.windowMessages = 0, .windowBytes = 1});
  });
  for (int i = 0; i < 3; i++) {
    EXPECT_EQ(codeOf(connectToService(name, nullptr, generous).get()), VANTO_ERROR_PROTOCOL);
  }
  accepting.join();
}

}  // namespace
}  // namespace vanto::test

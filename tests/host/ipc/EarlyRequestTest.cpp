// SPDX-License-Identifier: Apache-2.0

// Requests that are sent before the service has greeted: what a service makes of them, and what their clients make of
// what comes back.
#include <atomic>
#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "ipc/ClientConnect.h"
#include "ipc/Refusal.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.early";

Held callByName(const Held& request, std::uint64_t timeout = generous) {
  return Held(vanto_call_service(name, request, timeout));
}

void sendEarly(RawPeer& peer, const Held& object) {
  EncodedObject body;
  ASSERT_EQ(body.encode(object), VANTO_ERROR_NONE);
  peer.send({.kind = FrameKind::EarlyRequest,
             .id = 1,
             .creditMessages = 256,
             .creditBytes = 1 << 20,
             .length = body.bytes().size()},
            body.bytes());
}

/// A client that has asked early.
RawPeer askEarly(const Held& object) {
  RawPeer peer = RawPeer::connectTo(name);
  sendEarly(peer, object);
  return peer;
}

void expectReply(RawPeer& peer, const char* expected) {
  EXPECT_EQ(peer.header().kind, FrameKind::Reply);
  EXPECT_EQ(peer.header().id, 1U);
  EXPECT_STREQ(vanto_string_get_text(peer.object().get()), expected);
}

/// A service that does nothing for the life of this, as one that is being started.
class Paused {
 public:
  explicit Paused(const Process& service) : service_(service) {
    service_.signal(SIGSTOP);
    siginfo_t stopped{};
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(service_.pid()), &stopped, WSTOPPED), 0);
  }
  ~Paused() { service_.signal(SIGCONT); }
  Paused(const Paused&) = delete;
  Paused& operator=(const Paused&) = delete;

 private:
  const Process& service_;
};

TEST(EarlyRequest, IsAnsweredInPlaceOfAGreeting) {
  const RuntimeDirectory directory;
  const Process service({"serve", name});
  ASSERT_EQ(service.line(), "ready");
  std::vector<RawPeer> peers;
  {
    const Paused paused(service);
    for (int i = 0; i < 20; i++) peers.push_back(askEarly(text("x")));
  }
  for (RawPeer& peer : peers) {
    ASSERT_TRUE(peer.receive());
    expectReply(peer, "x");
    // From here on it is a connection like any other.
    peer.sendObject(FrameKind::Request, 2, text("y"));
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().id, 2U);
  }
}

TEST(EarlyRequest, IsAnsweredAfterTheGreetingToo) {
  const RuntimeDirectory directory;
  const Service service(name);
  RawPeer peer = RawPeer::connectTo(name);
  ASSERT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().kind, FrameKind::Greeting);
  sendEarly(peer, text("x"));
  ASSERT_TRUE(peer.receive());
  expectReply(peer, "x");
}

TEST(EarlyRequest, OfAClientThatHasGoneHoldsNobodyUp) {
  const RuntimeDirectory directory;
  const Process service({"serve", name});
  ASSERT_EQ(service.line(), "ready");
  {
    const Paused paused(service);
    for (int i = 0; i < 5; i++) askEarly(text("x")).close();
  }
  EXPECT_STREQ(vanto_string_get_text(callByName(text("y"))), "y");
}

TEST(EarlyRequest, OfAClientThatIsJudgedByItsCodeIsNotTaken) {
  const RuntimeDirectory directory;
  const Process service({"serve-judged", "by-code", name});
  ASSERT_EQ(service.line(), "ready");
  for (const bool answers : {true, false}) {
    RawPeer peer = [&] {
      const Paused paused(service);
      return askEarly(text("not this one"));
    }();
    ASSERT_TRUE(peer.receive());
    ASSERT_EQ(peer.header().kind, FrameKind::Greeting);
    ASSERT_EQ(peer.header().flags, frameHasNonce);
    Greeting greeting;
    ASSERT_TRUE(decodeGreeting(peer.payload().data(), greeting));
    if (answers) peer.sendGreeting(FrameKind::Answer, greeting, frameHasNonce);
    peer.sendObject(FrameKind::Request, 1, text("this one"));
    if (answers) {
      ASSERT_TRUE(peer.receive());
      expectReply(peer, "this one");
    } else {
      EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
    }
  }
}

TEST(EarlyRequest, IsTakenOnce) {
  const RuntimeDirectory directory;
  const Process service({"serve-judged", "by-code", name});
  ASSERT_EQ(service.line(), "ready");
  RawPeer peer = askEarly(text("x"));
  sendEarly(peer, text("x"));
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST(EarlyRequest, IsNoneOnceTheGreetingIsAnswered) {
  const RuntimeDirectory directory;
  const Service service(name);
  RawPeer peer = RawPeer::greeted(name);
  sendEarly(peer, text("x"));
  EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
}

TEST(EarlyRequest, MayAloneComeBeforeTheGreeting) {
  const RuntimeDirectory directory;
  const Process service({"serve", name});
  ASSERT_EQ(service.line(), "ready");
  for (const FrameKind kind : {FrameKind::Answer, FrameKind::Request}) {
    RawPeer peer = [&] {
      const Paused paused(service);
      RawPeer hasty = RawPeer::connectTo(name);
      kind == FrameKind::Answer ? hasty.sendAnswer() : hasty.sendObject(kind, 1, text("x"));
      return hasty;
    }();
    EXPECT_EQ(peer.awaitEnd(), VANTO_ERROR_PROTOCOL);
  }
}

TEST(ServiceCall, GivesTheReply) {
  const RuntimeDirectory directory;
  const Service service(name);
  for (int i = 0; i < 50; i++) EXPECT_STREQ(vanto_string_get_text(callByName(text("x"))), "x");
}

TEST(ServiceCall, GivesEachOfManyThreadsItsOwnReply) {
  const RuntimeDirectory directory;
  const Service service(name);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; thread++) {
    threads.emplace_back([thread] {
      for (int i = 0; i < 100; i++) {
        const std::string asked = std::to_string(thread) + "/" + std::to_string(i);
        EXPECT_EQ(vanto_string_get_text(callByName(text(asked.c_str()))), asked);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(ServiceCall, TakesWhatDoesNotGoEarlyToo) {
  const RuntimeDirectory directory;
  const Service service(name);
  for (const std::size_t size : {std::size_t{65'528}, std::size_t{65'536}, std::size_t{1'000'000}}) {
    const Held request = data(size);
    EXPECT_TRUE(vanto_equal(callByName(request), request)) << size;
  }
  const Held reply = callByName(descriptorsOf(3));
  EXPECT_EQ(vanto_array_get_count(reply), 3U);
}

TEST(ServiceCall, TakesAReplyInPieces) {
  const RuntimeDirectory directory;
  const Held large = data(300'000);
  const Service service(name, [&](vanto_object_t, vanto_object_t event) { vanto_reply(event, large); });
  EXPECT_TRUE(vanto_equal(callByName(text("x")), large));
}

TEST(ServiceCall, AnswersAServiceThatJudgesItsClients) {
  const RuntimeDirectory directory;
  const Process service({"serve-judged", "by-code", name});
  ASSERT_EQ(service.line(), "ready");
  EXPECT_STREQ(vanto_string_get_text(callByName(text("x"))), "x");
}

TEST(ServiceCall, TellsWhatIsWrongWithItsArguments) {
  const RuntimeDirectory directory;
  EXPECT_EQ(codeOf(callByName(text("x"))), VANTO_ERROR_NO_SERVICE);
  EXPECT_EQ(codeOf(Held(vanto_call_service("", text("x"), generous))), VANTO_ERROR_NAME);
  EXPECT_EQ(codeOf(Held(vanto_call_service(nullptr, text("x"), generous))), VANTO_ERROR_INVALID);
  EXPECT_EQ(codeOf(Held(vanto_call_service(name, nullptr, generous))), VANTO_ERROR_INVALID);
}

/// A thread that is a service, for one call.
class Played {
 public:
  template <typename Script>
  explicit Played(Script script) : thread_([this, script] { script(service_); }) {}
  ~Played() { thread_.join(); }
  Played(const Played&) = delete;
  Played& operator=(const Played&) = delete;

 private:
  RawService service_{name};
  std::thread thread_;
};

/// The next client, which has asked early.
RawPeer acceptAsked(RawService& service) {
  RawPeer peer = service.accept();
  EXPECT_TRUE(peer.receive());
  EXPECT_EQ(peer.header().kind, FrameKind::EarlyRequest);
  return peer;
}

TEST(ServiceCall, TellsItsWindowsAndItsDeadline) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    RawPeer peer = acceptAsked(service);
    EXPECT_EQ(peer.header().id, 1U);
    EXPECT_EQ(peer.header().creditMessages, 256U);
    EXPECT_EQ(peer.header().creditBytes, std::uint32_t{1} << 20);
    EXPECT_GT(peer.header().deadline, generous / 2);
    EXPECT_LE(peer.header().deadline, generous);
    EXPECT_STREQ(vanto_string_get_text(peer.object().get()), "x");
    peer.sendObject(FrameKind::Reply, 1, text("y"));
    EXPECT_FALSE(peer.receive());
  });
  EXPECT_STREQ(vanto_string_get_text(callByName(text("x"))), "y");
}

TEST(ServiceCall, IsTriedAgainWhileNobodyHasReadIt) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    for (int i = 0; i < 3; i++) {
      RawPeer peer = service.accept();
      // Only what has come can be left unread.
      pollfd set{peer.descriptor(), POLLIN, 0};
      EXPECT_EQ(poll(&set, 1, 60'000), 1);
      // That it was greeted says nothing of its request.
      if (i == 2) peer.sendGreeting(FrameKind::Greeting, {.windowMessages = 1, .windowBytes = 1});
    }
    acceptAsked(service).sendObject(FrameKind::Reply, 1, text("y"));
  });
  EXPECT_STREQ(vanto_string_get_text(callByName(text("x"))), "y");
}

TEST(ServiceCall, IsNotTriedAgainOnceItWasRead) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    acceptAsked(service).close();
    pollfd set{service.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&set, 1, 50), 0);
  });
  EXPECT_EQ(codeOf(callByName(text("x"))), VANTO_ERROR_CLOSED);
}

TEST(ServiceCall, TellsARefusalThoughItsRequestWasNotRead) {
  const RuntimeDirectory directory;
  // Before and after the request has come.
  for (const bool waits : {false, true}) {
    const Played played([waits](RawService& service) {
      const RawPeer peer = service.accept();
      pollfd set{peer.descriptor(), POLLIN, 0};
      EXPECT_GE(poll(&set, 1, waits ? 60'000 : 0), waits ? 1 : 0);
      sendRefusal(peer.descriptor(), VANTO_ERROR_START, "no such program");
    });
    const Held refused = callByName(text("x"));
    EXPECT_EQ(codeOf(refused), VANTO_ERROR_START);
    EXPECT_STREQ(vanto_error_get_text(refused), "no such program");
  }
}

TEST(ServiceCall, WaitsForTheReplyBehindAGreeting) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    RawPeer peer = service.accept();
    peer.sendGreeting(FrameKind::Greeting, {.windowMessages = 1, .windowBytes = 1});
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().kind, FrameKind::EarlyRequest);
    peer.sendObject(FrameKind::Reply, 1, text("y"));
    // It is no answer that comes then, but the end.
    EXPECT_FALSE(peer.receive());
  });
  EXPECT_STREQ(vanto_string_get_text(callByName(text("x"))), "y");
}

TEST(ServiceCall, AsksAgainBehindAnAnswerWhereThereIsANonce) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    RawPeer peer = acceptAsked(service);
    peer.sendGreeting(FrameKind::Greeting, {.windowMessages = 9, .windowBytes = 9999}, frameHasNonce);
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().kind, FrameKind::Answer);
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().kind, FrameKind::Request);
    peer.sendObject(FrameKind::Reply, 1, text("y"));
  });
  EXPECT_STREQ(vanto_string_get_text(callByName(text("x"))), "y");
}

TEST(ServiceCall, PassesOverWhatItHasNotAskedFor) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    RawPeer peer = acceptAsked(service);
    peer.sendObject(FrameKind::Message, 1, text("news"));
    peer.sendObject(FrameKind::Request, 2, text("a question"));
    peer.sendObject(FrameKind::Reply, 1, text("y"));
    EXPECT_FALSE(peer.receive());
  });
  EXPECT_STREQ(vanto_string_get_text(callByName(text("x"))), "y");
}

TEST(ServiceCall, EndsAtItsTimeout) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    EXPECT_FALSE(acceptAsked(service).receive());
    RawPeer peer = acceptAsked(service);
    peer.sendObject(FrameKind::Message, 1, text("news"));
    EXPECT_FALSE(peer.receive());
  });
  EXPECT_EQ(codeOf(callByName(text("nothing comes"), 20'000'000)), VANTO_ERROR_TIMED_OUT);
  EXPECT_EQ(codeOf(callByName(text("no reply comes"), 500'000'000)), VANTO_ERROR_TIMED_OUT);
}

TEST(ServiceCall, EndsAtItsTimeoutAlsoUnderFramesWithoutEnd) {
  const RuntimeDirectory directory;
  constexpr std::uint64_t bound = 50'000'000;
  std::atomic<bool> isOver{false};
  const Played played([&isOver](RawService& service) {
    RawPeer peer = acceptAsked(service);
    peer.sendObject(FrameKind::Message, 1, text("news"));
    const std::uint64_t start = monotonicNow();
    while (!isOver && monotonicNow() - start < generous) {
      static_cast<void>(sendFrame(peer.descriptor(), {.kind = FrameKind::Cancel, .id = 1}, {}, {}));
    }
  });
  const std::uint64_t start = monotonicNow();
  EXPECT_EQ(codeOf(callByName(text("x"), bound)), VANTO_ERROR_TIMED_OUT);
  EXPECT_LT(monotonicNow() - start, 100 * bound);
  isOver = true;
}

TEST(ServiceCall, IsNotTriedAgainWhenItIsCreditThatWasLeftUnread) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    RawPeer peer = acceptAsked(service);
    // A large message, cancelled on its way: its room is given back at once.
    const std::vector<std::uint8_t> part(limits::ipcInlineBytes);
    peer.send({.kind = FrameKind::Request, .id = 1, .length = 16 * part.size()}, part);
    peer.send({.kind = FrameKind::Cancel, .id = 1});
    for (int i = 1; i < 16; i++) peer.send({.kind = FrameKind::Chunk, .id = 1}, part);
    pollfd set{peer.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&set, 1, 60'000), 1);
    peer.close();
    pollfd next{service.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&next, 1, 50), 0);
  });
  EXPECT_EQ(codeOf(callByName(text("x"))), VANTO_ERROR_CLOSED);
}

TEST(ServiceCall, LeavesAServiceThatBreaksTheProtocol) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    acceptAsked(service).sendAnswer();
    acceptAsked(service).sendObject(FrameKind::Reply, 2, text("to another request"));
    acceptAsked(service).sendGreeting(FrameKind::Greeting, {.windowMessages = 0, .windowBytes = 1});
    const std::uint8_t garbage[50] = {1, 2, 3};
    acceptAsked(service).sendBytes(garbage);
  });
  for (int i = 0; i < 4; i++) EXPECT_EQ(codeOf(callByName(text("x"))), VANTO_ERROR_PROTOCOL) << i;
}

TEST(ServiceCall, LeavesAServiceThatSpeaksAnotherVersion) {
  const RuntimeDirectory directory;
  const Played played([](RawService& service) {
    acceptAsked(service).sendGreeting(FrameKind::Greeting,
                                      {.lowestVersion = 2, .highestVersion = 9, .windowMessages = 1, .windowBytes = 1});
  });
  EXPECT_EQ(codeOf(callByName(text("x"))), VANTO_ERROR_VERSION);
}

TEST(ServiceCall, IsServedByAProcessThatIsAskedToEndMeanwhile) {
  const RuntimeDirectory directory;
  for (int i = 0; i < 20; i++) {
    const Process service({"serve", name});
    ASSERT_EQ(service.line(), "ready");
    Held reply;
    std::thread client;
    {
      const Paused paused(service);
      client = std::thread([&] { reply = callByName(text("x"), 200'000'000); });
      service.signal(SIGTERM);
    }
    client.join();
    // Served, or it found nobody: what nobody has read is not lost.
    const bool isServed = vanto_kind(reply) == VANTO_KIND_STRING;
    const vanto_error_code_t code = codeOf(reply);
    EXPECT_TRUE(isServed || code == VANTO_ERROR_NO_SERVICE || code == VANTO_ERROR_TIMED_OUT) << code;
  }
}

}  // namespace
}  // namespace vanto::test

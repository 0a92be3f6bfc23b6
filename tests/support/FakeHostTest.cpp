// SPDX-License-Identifier: Apache-2.0
#include <VantoServiceTest/FakeHost.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/KorFunctions.h>
#include <VantoService/vanto.h>

#include "ipc/IPCObject.h"
#include "support/LeftObjects.h"
#include "support/fakehost/HostState.h"
#include "value/platform/dispatch.h"
#include "value/platform/files.h"
#include "value/platform/process.h"

namespace vanto::testing {
namespace {

using test::FakeClient;
using test::FakeHost;
using test::FakeRequest;
using Lines = std::vector<std::string>;

/// A service in this process: a resumed listener whose connections answer each request with its own body.
class FakeHostTest : public ::testing::Test {
 public:
  static constexpr const char* name = "com.example.echo";
  /// What the host keeps for the life of the process.
  static constexpr std::int64_t keptObjects = 1;

  vanto_object_t listen(vanto_event_function_t function) {
    const dispatch_queue_t queue = dispatch_queue_create(name, nullptr);
    const vanto_object_t listener = vanto_connection_create_listener(name, queue);
    dispatch_queue_release(queue);
    vanto_connection_set_event_function(listener, function, this, nullptr);
    vanto_connection_resume(listener);
    leaveObjects(keptObjects);
    return listener;
  }

  static void admit(vanto_object_t, vanto_object_t event, void* context) {
    if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
    auto* self = static_cast<FakeHostTest*>(context);
    self->connection_ = event;
    vanto_connection_set_event_handler(event,
                                       [self](vanto_object_t, vanto_object_t received) { self->receive(received); });
    vanto_connection_resume(event);
  }

  void receive(vanto_object_t received) {
    if (vanto_kind(received) == VANTO_KIND_ERROR) {
      events_.push_back("error " + std::to_string(vanto_error_get_code(received)));
      return;
    }
    events_.push_back(test::textOf(vanto_message_get_body(received)));
    if (vanto_message_expects_reply(received) && answers_) {
      firstReply_ = vanto_reply(received, vanto_message_get_body(received));
      secondReply_ = vanto_reply(received, vanto_message_get_body(received));
    }
    if (keeps_) kept_ = Ref<vanto_object>::share(received);
  }

  FakeHost host_;
  Lines events_;
  bool answers_ = true;
  bool keeps_ = false;
  Ref<vanto_object> kept_;
  vanto_object_t connection_ = nullptr;
  vanto_error_code_t firstReply_ = VANTO_ERROR_INVALID;
  vanto_error_code_t secondReply_ = VANTO_ERROR_NONE;
};

/// A value that goes out of scope with its test.
class Value {
 public:
  explicit Value(vanto_object_t object) : object_(object) {}
  ~Value() { vanto_release(object_); }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  operator vanto_object_t() const noexcept { return object_; }

 private:
  vanto_object_t object_;
};

TEST_F(FakeHostTest, KeepsCallsInTheirOrderWithTheirArguments) {
  static_cast<void>(QelHomeDirectory());
  vanto_track_activity();
  static_cast<void>(QelHomeDirectory());
  EXPECT_EQ(host_.lines(), (Lines{"QelHomeDirectory()", "vanto_track_activity()", "QelHomeDirectory()"}));
  EXPECT_EQ(host_.count("QelHomeDirectory"), 2U);
  EXPECT_EQ(host_.count("vanto_connect"), 0U);
}

TEST_F(FakeHostTest, TellsAnObserverOfCallsAndNotes) {
  Lines seen;
  host_.onCall([&seen](const test::FakeCall& call) { seen.push_back(call.text()); });
  vanto_track_activity();
  host_.note("stat", "/a");
  EXPECT_EQ(seen, (Lines{"vanto_track_activity()", "stat(/a)"}));
  EXPECT_EQ(host_.lines(), seen);
}

TEST_F(FakeHostTest, FailsOnDemandAndNoLonger) {
  host_.fail("QelHomeDirectory");
  EXPECT_EQ(QelHomeDirectory(), nullptr);
  host_.succeed("QelHomeDirectory");
  ASSERT_NE(QelHomeDirectory(), nullptr);
  EXPECT_EQ(QelHomeDirectory()->text(), "/home/fake");
}

TEST_F(FakeHostTest, StartsAnewWithEachObject) {
  EXPECT_EQ(host_.lines(), Lines{});
  EXPECT_EQ(vanto_process_executable_path(), nullptr);
  host_.answers().executablePath = "/a";
  host_.fail("dispatch_queue_create");
}

TEST_F(FakeHostTest, StartsAnewWithEachObjectAlsoAfterAnother) {
  EXPECT_EQ(host_.lines(), Lines{});
  EXPECT_EQ(vanto_process_executable_path(), nullptr);
  const dispatch_queue_t queue = dispatch_queue_create("a", nullptr);
  EXPECT_NE(queue, nullptr);
  dispatch_queue_release(queue);
}

using FakeHostDeathTest = FakeHostTest;

TEST_F(FakeHostDeathTest, EndsTheProgramForAMisspelledName) {
  EXPECT_DEATH(host_.fail("dispatch_queue_creat"), "FakeHost: the host has no function dispatch_queue_creat");
  EXPECT_DEATH(static_cast<void>(host_.count("nothing")), "FakeHost: the host has no function nothing");
  EXPECT_DEATH(host_.fail("dispatch_main"), "FakeHost: there is no way to fail for dispatch_main");
  EXPECT_DEATH(FakeHost another, "FakeHost: there is another host already");
}

TEST_F(FakeHostDeathTest, EndsTheProgramForWhatTheRealHostDoesNotAllow) {
  EXPECT_DEATH(static_cast<void>(dispatch_queue_create("a", this)), "FakeHost: there are no attributes for a queue: a");
  EXPECT_DEATH(QelRunLoopRun(nullptr), "FakeHost: the run loop belongs to another thread");
}

TEST_F(FakeHostDeathTest, EndsTheProcessWithStatus0WhereDispatchMainCannotReturn) {
  EXPECT_EXIT(dispatch_main(), ::testing::ExitedWithCode(0), "");
}

TEST_F(FakeHostTest, AnswersRealPathsAsPrepared) {
  host_.answers().realPaths = {{"/link", "/real"}};
  host_.answers().realPathErrors = {{"/missing", ENOENT}};
  int error = 7;
  const auto path = [](const char* text) {
    return PlistString::create(text).asTemporary();
  };
  EXPECT_EQ(PellmoUtilRealPathForPath(path("/link"), &error)->text(), "/real");
  EXPECT_EQ(PellmoUtilRealPathForPath(path("/other"), &error)->text(), "/other");
  EXPECT_EQ(error, 7);
  EXPECT_EQ(PellmoUtilRealPathForPath(path("/missing"), &error), nullptr);
  EXPECT_EQ(error, ENOENT);
  EXPECT_EQ(PellmoUtilRealPathForPath(path("/missing"), nullptr), nullptr);
}

TEST_F(FakeHostTest, ReadsPreparedFilesUpToTheLimit) {
  host_.answers().files["/a"] = "abc";
  const auto read = [](const char* path, std::size_t limit) {
    const auto url = KorURL::create(*PlistString::create(path), false);
    PlistData* data = nullptr;
    int error = 0;
    const bool isRead = KorURLCreateDataAndPropertiesFromResource(url.get(), &data, KorFileTrustAnyone, limit, &error);
    const auto owned = Ref<PlistData>::adopt(data);
    return isRead ? static_cast<int>(owned->length()) : -error;
  };
  EXPECT_EQ(read("/a", 3), 3);
  EXPECT_EQ(read("/a", 2), -EFBIG);
  EXPECT_EQ(read("/b", 3), -ENOENT);
}

TEST_F(FakeHostTest, RunsQueuesInOrderWhenWorkIsPerformed) {
  static Lines done;
  done.clear();
  const dispatch_queue_t queue = dispatch_queue_create("a", nullptr);
  const auto add = [queue](const char* text) {
    dispatch_queue_submit(queue, const_cast<char*>(text),
                          [](void* context) { done.emplace_back(static_cast<const char*>(context)); });
  };
  add("one");
  add("two");
  EXPECT_EQ(done, Lines{});
  host_.performWork();
  EXPECT_EQ(done, (Lines{"one", "two"}));
  add("three");
  dispatch_queue_submit_and_wait(queue, nullptr, [](void*) { done.emplace_back("four"); });
  EXPECT_EQ(done, (Lines{"one", "two", "three", "four"}));
  EXPECT_STREQ(dispatch_queue_label(queue), "a");
  dispatch_queue_release(queue);
}

TEST_F(FakeHostTest, KeepsAQueueAliveAsLongAsItHasWork) {
  static bool done = false;
  const dispatch_queue_t queue = dispatch_queue_create("a", nullptr);
  dispatch_queue_submit(queue, nullptr, [](void*) { done = true; });
  dispatch_queue_release(queue);
  host_.performWork();
  EXPECT_TRUE(done);
}

TEST_F(FakeHostTest, RunsARunLoopUntilThereIsNothingLeft) {
  static Lines done;
  done.clear();
  host_.whileRunning([] { done.emplace_back("running"); });
  KorRunLoop* loop = KorRunLoopGetCurrent();
  KorRunLoopPerform(loop, nullptr, [](void*) { done.emplace_back("one"); });
  KorRunLoopPerform(loop, loop, [](void* context) {
    done.emplace_back("stop");
    KorRunLoopStop(static_cast<KorRunLoop*>(context));
  });
  KorRunLoopPerform(loop, nullptr, [](void*) { done.emplace_back("late"); });
  KorRunLoopRun();
  EXPECT_EQ(done, (Lines{"running", "one", "stop"}));
  KorRunLoopRun();
  EXPECT_EQ(done, (Lines{"running", "one", "stop", "running", "late"}));
}

TEST_F(FakeHostTest, ConnectsClientsOnlyToListenersThatAreResumed) {
  EXPECT_EQ(host_.connect(name).error(), VANTO_ERROR_NO_SERVICE);
  const vanto_object_t listener = vanto_connection_create_listener(name, nullptr);
  leaveObjects(keptObjects);
  EXPECT_EQ(host_.connect(name).error(), VANTO_ERROR_NO_SERVICE);
  vanto_connection_set_event_function(listener, &admit, this, nullptr);
  vanto_connection_resume(listener);
  EXPECT_TRUE(host_.connect(name).isConnected());
  vanto_close(listener);
  EXPECT_EQ(host_.connect(name).error(), VANTO_ERROR_NO_SERVICE);
}

TEST_F(FakeHostTest, AsksTheEvaluatorAboutEachClient) {
  listen(&admit);
  static std::vector<pid_t> asked;
  asked.clear();
  vanto_handle_service(nullptr, nullptr, [](audit_token_t token) {
    pid_t pid = 0;
    audit_token_to_au32(token, nullptr, nullptr, nullptr, nullptr, nullptr, &pid, nullptr, nullptr);
    asked.push_back(pid);
    return pid == 1;
  });
  EXPECT_TRUE(host_.connect(name, {1, 2, 3}).isConnected());
  const FakeClient refused = host_.connect(name, {2, 2, 3});
  EXPECT_FALSE(refused.isConnected());
  EXPECT_EQ(refused.error(), VANTO_ERROR_REFUSED);
  EXPECT_EQ(asked, (std::vector<pid_t>{1, 2}));
}

TEST_F(FakeHostTest, WritesDownHowManyConnectionsAUserMayHave) {
  vanto_set_connections_per_user(7);
  EXPECT_EQ(host_.lines(), (Lines{"vanto_set_connections_per_user(7)"}));
}

TEST_F(FakeHostTest, MakesQueuesForCallersInC) {
  const vanto_queue_t queue = vanto_queue_create("in C");
  EXPECT_EQ(vanto_queue_retain(queue), queue);
  vanto_queue_release(queue);
  vanto_queue_release(queue);
  EXPECT_EQ(host_.lines(), (Lines{"dispatch_queue_create(in C, null)", "dispatch_queue_retain(in C)",
                                  "dispatch_queue_release(in C)", "dispatch_queue_release(in C)"}));
}

TEST_F(FakeHostTest, OpensATemporaryScopeForTheEvaluator) {
  listen(&admit);
  static Ref<PlistString> temporary;
  temporary = PlistString::create("made by the evaluator");
  vanto_handle_service(nullptr, nullptr,
                       [](audit_token_t) { return Ref<PlistString>(temporary).asTemporary()->referenceCount() == 2; });
  EXPECT_TRUE(host_.connect(name).isConnected());
  EXPECT_EQ(temporary->referenceCount(), 1U);
  temporary = nullptr;
}

TEST_F(FakeHostTest, LetsAContextGoThatNobodyTakes) {
  static int released = 0;
  released = 0;
  const auto function = [](vanto_object_t, vanto_object_t, void*) {
  };
  const auto release = [](void* context) {
    released += *static_cast<int*>(context);
  };
  int one = 1;
  int ten = 10;
  vanto_connection_set_event_function(nullptr, function, &one, release);
  EXPECT_EQ(released, 1);
  vanto_connection_set_event_function(nullptr, nullptr, &ten, release);
  EXPECT_EQ(released, 1);
  const vanto_object_t listener = vanto_connection_create_listener(name, nullptr);
  leaveObjects(keptObjects);
  vanto_connection_set_event_function(listener, function, &ten, release);
  EXPECT_EQ(released, 1);
  vanto_connection_set_event_function(listener, nullptr, &one, release);
  EXPECT_EQ(released, 11);
  // Until it is resumed, a closed connection keeps its last event.
  vanto_connection_resume(listener);
  vanto_close(listener);
  EXPECT_EQ(released, 11);
}

TEST_F(FakeHostTest, TellsTheServiceWhoItsClientIs) {
  listen(&admit);
  const FakeClient client = host_.connect(name, {12, 34, 56});
  vanto_identity_t identity = {};
  ASSERT_TRUE(vanto_peer_identity(connection_, &identity));
  EXPECT_EQ(identity.pid, 12);
  EXPECT_EQ(identity.uid, 34U);
  EXPECT_EQ(identity.gid, 56U);
  uid_t uid = 0;
  gid_t gid = 0;
  audit_token_to_au32(identity.token, nullptr, &uid, &gid, nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(uid, 34U);
  EXPECT_EQ(gid, 56U);
}

TEST_F(FakeHostTest, BringsRepliesToTheClient) {
  listen(&admit);
  FakeClient client = host_.connect(name);
  const Value body(vanto_string_create("hello"));
  const FakeRequest request = client.call(body);
  EXPECT_TRUE(vanto_equal(request.reply(), body));
  EXPECT_EQ(firstReply_, VANTO_ERROR_NONE);
  EXPECT_EQ(secondReply_, VANTO_ERROR_INVALID);
  client.send(body);
  EXPECT_EQ(events_, (Lines{"\"hello\"", "\"hello\""}));
}

TEST_F(FakeHostTest, GivesAnErrorForARequestThatIsLetGo) {
  listen(&admit);
  answers_ = false;
  FakeClient client = host_.connect(name);
  const Value body(vanto_int64_create(1));
  EXPECT_EQ(vanto_error_get_code(client.call(body).reply()), VANTO_ERROR_NO_REPLY);
  keeps_ = true;
  const FakeRequest request = client.call(body);
  EXPECT_EQ(request.reply(), nullptr);
  EXPECT_EQ(vanto_reply(kept_.get(), body), VANTO_ERROR_NONE);
  EXPECT_TRUE(vanto_equal(request.reply(), body));
  kept_ = nullptr;
}

TEST_F(FakeHostTest, TellsTheServiceOfACancelledRequest) {
  listen(&admit);
  answers_ = false;
  keeps_ = true;
  FakeClient client = host_.connect(name);
  const Value body(vanto_int64_create(1));
  FakeRequest request = client.call(body);
  EXPECT_FALSE(vanto_message_is_cancelled(kept_.get()));
  request.cancel();
  EXPECT_TRUE(vanto_message_is_cancelled(kept_.get()));
  EXPECT_FALSE(vanto_message_expects_reply(kept_.get()));
  EXPECT_EQ(vanto_error_get_code(request.reply()), VANTO_ERROR_CANCELLED);
  kept_ = nullptr;
}

TEST_F(FakeHostTest, ClosesFromTheClientsSide) {
  listen(&admit);
  answers_ = false;
  keeps_ = true;
  FakeClient client = host_.connect(name);
  const Value body(vanto_int64_create(1));
  const FakeRequest request = client.call(body);
  client.close();
  EXPECT_EQ(events_, (Lines{"1", "error 4"}));
  EXPECT_EQ(client.error(), VANTO_ERROR_CLOSED);
  EXPECT_EQ(vanto_error_get_code(request.reply()), VANTO_ERROR_CLOSED);
  EXPECT_EQ(vanto_reply(kept_.get(), body), VANTO_ERROR_CLOSED);
  EXPECT_EQ(vanto_send(connection_, body, 0), VANTO_ERROR_CLOSED);
  EXPECT_EQ(vanto_error_get_code(client.call(body).reply()), VANTO_ERROR_CLOSED);
  kept_ = nullptr;
}

TEST_F(FakeHostTest, ClosesFromTheServicesSide) {
  listen(&admit);
  const FakeClient client = host_.connect(name);
  vanto_close(connection_);
  vanto_close(connection_);
  host_.performWork();
  EXPECT_EQ(client.error(), VANTO_ERROR_CLOSED);
  EXPECT_EQ(events_, Lines{"error 6"});
}

TEST_F(FakeHostTest, ClosesAConnectionThatTheServiceNeitherResumesNorRetains) {
  listen([](vanto_object_t, vanto_object_t, void*) {});
  EXPECT_EQ(host_.connect(name).error(), VANTO_ERROR_CLOSED);
}

TEST_F(FakeHostTest, KeepsWhatComesBeforeAConnectionIsResumed) {
  listen([](vanto_object_t, vanto_object_t event, void* context) {
    static_cast<FakeHostTest*>(context)->connection_ = vanto_retain(event);
  });
  FakeClient client = host_.connect(name);
  const Value body(vanto_int64_create(1));
  client.send(body);
  vanto_connection_set_event_handler(connection_, [this](vanto_object_t, vanto_object_t event) { receive(event); });
  EXPECT_EQ(events_, Lines{});
  vanto_connection_resume(connection_);
  host_.performWork();
  EXPECT_EQ(events_, Lines{"1"});
  vanto_release(connection_);
  EXPECT_FALSE(client.isConnected());
}

TEST_F(FakeHostTest, ShowsTheClientWhatTheServiceSends) {
  listen(&admit);
  FakeClient client = host_.connect(name);
  const Value message(vanto_string_create("news"));
  EXPECT_EQ(vanto_send(connection_, message, 0), VANTO_ERROR_NONE);
  EXPECT_EQ(vanto_send(connection_, nullptr, 0), VANTO_ERROR_INVALID);
  ASSERT_EQ(client.received().size(), 1U);
  EXPECT_TRUE(vanto_equal(client.received()[0], message));
  const Value none(vanto_call(connection_, message, 0));
  EXPECT_EQ(vanto_error_get_code(none), VANTO_ERROR_NO_REPLY);
  client.answerWith([](vanto_object_t) { return vanto_int64_create(5); });
  const Value reply(vanto_call(connection_, message, 0));
  EXPECT_EQ(vanto_int64_get_value(reply), 5);
}

TEST_F(FakeHostTest, LetsTheServiceCallOthers) {
  const Value nobody(vanto_connect(name, nullptr, 0));
  EXPECT_EQ(vanto_error_get_code(nobody), VANTO_ERROR_NO_SERVICE);
  host_.provideService(name, [](vanto_object_t message) { return vanto_retain(message); });
  const Value connection(vanto_connect(name, nullptr, 0));
  const Value message(vanto_int64_create(3));
  const Value reply(vanto_call(connection, message, 0));
  EXPECT_EQ(vanto_int64_get_value(reply), 3);
}

TEST_F(FakeHostTest, DeliversOrCancelsRepliesOfAsynchronousCalls) {
  host_.provideService(name, [](vanto_object_t message) { return vanto_retain(message); });
  const Value connection(vanto_connect(name, nullptr, 0));
  const Value message(vanto_int64_create(3));
  Lines replies;
  const auto call = [&] {
    return vanto_call_async(connection, message, 0,
                            [&replies](vanto_object_t reply) { replies.push_back(test::textOf(reply)); });
  };
  EXPECT_NE(call(), 0U);
  vanto_cancel(connection, call());
  EXPECT_EQ(replies, Lines{});
  host_.performWork();
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(replies[0], "3");
  EXPECT_TRUE(replies[1].starts_with("error 6")) << replies[1];
  host_.fail("vanto_call_async");
  EXPECT_EQ(call(), 0U);
}

TEST_F(FakeHostTest, ReportsAnErrorToAListenerOnce) {
  static Lines events;
  events.clear();
  listen([](vanto_object_t, vanto_object_t event, void*) { events.push_back(test::textOf(event)); });
  host_.reportListenerError(name, VANTO_ERROR_IN_USE);
  host_.reportListenerError(name, VANTO_ERROR_SYSTEM);
  ASSERT_EQ(events.size(), 1U);
  EXPECT_TRUE(events[0].starts_with("error 11")) << events[0];
}

TEST_F(FakeHostTest, TakesCallsFromSeveralThreads) {
  std::vector<std::thread> threads;
  for (int index = 0; index < 4; ++index) {
    threads.emplace_back([] {
      for (int round = 0; round < 100; ++round) vanto_track_activity();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(host_.count("vanto_track_activity"), 400U);
}

}  // namespace
}  // namespace vanto::testing

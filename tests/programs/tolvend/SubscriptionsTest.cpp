// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Subscriptions.h"

#include <csignal>

#include "dispatch/Workers.h"
#include "host/ipc/RawPeer.h"
#include "programs/tolvend/ManagerWorld.h"

namespace vanto::test {
namespace {

using namespace manager;
using Lines = std::vector<std::string>;
constexpr const char* echo = "org.example.echo";
constexpr const char* service = "org.vanto.test.watched";

std::string describe(const Ref<vanto_object>& message) {
  if (vanto_dictionary_get_value(message.get(), "removed") != nullptr) return "removed";
  for (const char* key : {"state", "text"}) {
    if (const char* text = vanto_string_get_text(vanto_dictionary_get_value(message.get(), key))) return text;
  }
  return "neither";
}

/// Reports what it is told, frame by frame, and ends its parent with the `count`-th message.
[[noreturn]] void readMessages(const testing::ChildReport& report, int count) {
  RawPeer peer = RawPeer::greeted(service);
  for (int i = 0; i < count && peer.receiveKind(FrameKind::Message); i++) {
    report(describe(decodeObject(peer.payload(), {})));
  }
  kill(getppid(), SIGUSR1);
  std::_Exit(0);
}

/// What a client is told of `count` messages after `connected` was called with its connection.
Lines toldTo(int count, void (*connected)(vanto_object_t connection, ManagerWorld& world, Subscriptions&)) {
  const TemporaryDirectory runtime;
  return runWithEvents([&](const auto& report, Alarms& alarms) {
    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
    // The client has reported all; what is left is of no interest.
    std::signal(SIGUSR1, [](int) { std::_Exit(0); });
    static ManagerWorld world(alarms);
    static Subscriptions subscriptions(alarms, *world.jobs);
    static const auto act = connected;
    world.jobs->observe([](const std::string& label) { subscriptions.changed(label); });
    EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error, "");
    const vanto_object_t listener = vanto_connection_create_listener(service, nullptr);
    vanto_connection_set_event_handler(listener, [](vanto_object_t, vanto_object_t connection) {
      vanto_connection_set_event_handler(connection, [](vanto_object_t source, vanto_object_t event) {
        if (vanto_kind(event) == VANTO_KIND_ERROR) subscriptions.forget(source);
      });
      vanto_connection_resume(connection);
      act(connection, world, subscriptions);
    });
    vanto_connection_resume(listener);
    if (fork() == 0) readMessages(report, count);
  });
}

TEST(Subscriptions, ChangesThatComeTogetherAreToldOnce) {
  EXPECT_EQ(toldTo(3,
                   [](vanto_object_t connection, ManagerWorld& world, Subscriptions& subscriptions) {
                     subscriptions.watch(connection, "");
                     subscriptions.watch(connection, "");
                     for (int i = 0; i < 5; i++) subscriptions.changed(echo);
                     static Alarm hold(world.alarms, [&] { world.jobs->find(echo)->hold(); });
                     static Alarm unload(world.alarms, [&] { static_cast<void>(world.jobs->unload(echo)); });
                     hold.set(deadlineAfter(10'000'000));
                     unload.set(deadlineAfter(300'000'000));
                   }),
            (Lines{"resting", "held", "removed"}));
}

TEST(Subscriptions, OneJobOrOneLogIsTold) {
  EXPECT_EQ(toldTo(2,
                   [](vanto_object_t connection, ManagerWorld& world, Subscriptions& subscriptions) {
                     EXPECT_EQ(world.jobs->load(ManagerWorld::job("org.example.other")).error, "");
                     subscriptions.watch(connection, "org.example.other");
                     subscriptions.follow(connection, *world.jobs->find(echo));
                     subscriptions.changed(echo);
                     world.jobs->find("org.example.other")->log().add({1, 1, "another's line"});
                     world.jobs->find(echo)->log().add({1, 1, "its line"});
                     static Alarm later(world.alarms, [&] { subscriptions.changed("org.example.other"); });
                     later.set(deadlineAfter(10'000'000));
                   })
                .at(0),
            "its line");
}

TEST(Subscriptions, AFollowerIsToldThatItsJobWasRemovedThoughItIsLoadedAgain) {
  EXPECT_EQ(toldTo(2,
                   [](vanto_object_t connection, ManagerWorld& world, Subscriptions& subscriptions) {
                     subscriptions.follow(connection, *world.jobs->find(echo));
                     world.jobs->find(echo)->log().add({1, 1, "its line"});
                     EXPECT_EQ(world.jobs->unload(echo).error, "");
                     EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error, "");
                     world.jobs->find(echo)->log().add({1, 1, "a line of the next"});
                   }),
            (Lines{"its line", "removed"}));
}

}  // namespace
}  // namespace vanto::test

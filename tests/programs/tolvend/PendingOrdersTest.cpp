// SPDX-License-Identifier: Apache-2.0

// Orders come as messages on connections, so a real manager's tests have the most of it. Here: what ends a wait.
#include "tolvend/PendingOrders.h"

#include <csignal>

#include "programs/tolvend/ManagerWorld.h"

namespace vanto::test {
namespace {

using namespace manager;
constexpr const char* echo = "org.example.echo";

/// Sends a request to a listener of this process, and calls `receive` with the message and `answered` with the reply.
void exchange(std::function<void(vanto_object_t message)> receive, std::function<void(vanto_object_t reply)> answered) {
  static const auto receiver = std::move(receive);
  static const auto answerer = std::move(answered);
  static const vanto_object_t listener = vanto_connection_create_listener("org.vanto.test.pending", nullptr);
  vanto_connection_set_event_handler(listener, [](vanto_object_t, vanto_object_t connection) {
    vanto_connection_set_event_handler(connection, [](vanto_object_t, vanto_object_t message) {
      if (vanto_kind(message) == VANTO_KIND_MESSAGE) receiver(message);
    });
    vanto_connection_resume(connection);
  });
  vanto_connection_resume(listener);
  if (fork() != 0) return;
  // The client, without the loop of its parent: a call needs none.
  const vanto_object_t connection = vanto_connect("org.vanto.test.pending", nullptr, 30'000'000'000);
  answerer(vanto_call(connection, vanto_bool_create(true), 30'000'000'000));
  std::_Exit(0);
}

std::vector<std::string> answerTo(PendingOrders::Goal goal, void (*before)(Jobs&), void (*after)(Jobs&)) {
  const TemporaryDirectory runtime;
  return runWithEvents([&](const auto& report, Alarms& alarms) {
    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
    static ManagerWorld world(alarms);
    static PendingOrders pending(alarms, *world.jobs);
    world.jobs->observe([](const std::string&) { pending.look(); });
    EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error, "");
    before(*world.jobs);
    exchange(
        [=](vanto_object_t message) {
          pending.add(message, echo, goal);
          after(*world.jobs);
        },
        [=](vanto_object_t reply) {
          const char* error = vanto_string_get_text(vanto_dictionary_get_value(reply, "error"));
          const char* label = vanto_string_get_text(vanto_dictionary_get_value(reply, "label"));
          report(error != nullptr ? error : label != nullptr ? label : "neither");
          kill(getppid(), SIGUSR1);
        });
    // The client has reported; what is left is of no interest.
    std::signal(SIGUSR1, [](int) { std::_Exit(0); });
  });
}

void doNothing(Jobs&) {}

TEST(PendingOrders, NothingThatRunsIsEndedAtOnce) {
  EXPECT_EQ(answerTo(PendingOrders::Goal::Ended, doNothing, doNothing), std::vector<std::string>{echo});
}

TEST(PendingOrders, AStartThatFailsIsTold) {
  const std::vector<std::string> lines =
      answerTo(PendingOrders::Goal::Started, doNothing, [](Jobs& jobs) { jobs.find(echo)->start(); });
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("executable: No such file or directory")) << lines[0];
}

TEST(PendingOrders, AJobThatIsHeldWillNotStart) {
  EXPECT_EQ(answerTo(
                PendingOrders::Goal::Started, [](Jobs& jobs) { jobs.find(echo)->hold(); }, doNothing),
            std::vector<std::string>{"the job was held meanwhile"});
}

TEST(PendingOrders, AJobThatIsUnloadedWillNotStart) {
  EXPECT_EQ(answerTo(PendingOrders::Goal::Started, doNothing, [](Jobs& jobs) { static_cast<void>(jobs.unload(echo)); }),
            std::vector<std::string>{"the job was unloaded meanwhile"});
}

TEST(PendingOrders, AJobThatIsStoppedWillNotStart) {
  EXPECT_EQ(answerTo(PendingOrders::Goal::Started, doNothing, doNothing),
            std::vector<std::string>{"the job was stopped meanwhile"});
}

TEST(PendingOrders, AnUnloadIsAnsweredWhenNothingIsLeft) {
  EXPECT_EQ(
      answerTo(PendingOrders::Goal::Unloaded, doNothing, [](Jobs& jobs) { static_cast<void>(jobs.unload(echo)); }),
      std::vector<std::string>{echo});
}

}  // namespace
}  // namespace vanto::test

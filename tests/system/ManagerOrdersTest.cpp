// SPDX-License-Identifier: Apache-2.0

// What people order of a real manager, and what it makes of orders that are none.
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

using ManagerOrders = ManagerFixture;
constexpr const char* echo = "org.example.echo";

TEST_F(ManagerOrders, StartStopRestartHoldUnload) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const Held started = order("start", echo);
  EXPECT_EQ(errorOf(started), "");
  const std::int64_t first = number(started, "pid");
  EXPECT_EQ(call(echo), first);
  EXPECT_EQ(number(order("start", echo), "pid"), first);

  const Held restarted = order("restart", echo);
  EXPECT_EQ(errorOf(restarted), "");
  const std::int64_t second = number(restarted, "pid");
  EXPECT_NE(second, first);
  EXPECT_FALSE(isAlive(static_cast<pid_t>(first)));
  EXPECT_EQ(call(echo), second);

  EXPECT_EQ(errorOf(order("stop", echo)), "");
  EXPECT_FALSE(isAlive(static_cast<pid_t>(second)));
  EXPECT_EQ(text(stateOf(echo), "state"), "resting");
  EXPECT_EQ(number(stateOf(echo), "failures"), 0);
  const std::int64_t third = call(echo);
  EXPECT_NE(third, second);

  EXPECT_EQ(errorOf(order("hold", echo)), "");
  EXPECT_FALSE(isAlive(static_cast<pid_t>(third)));
  EXPECT_TRUE(refusalOf(echo).starts_with("15 org.example.echo: not started: held"));

  EXPECT_EQ(errorOf(order("start", echo)), "");
  EXPECT_GT(call(echo), 0);
  EXPECT_EQ(errorOf(order("unload", echo)), "");
  EXPECT_EQ(vanto_error_get_code(connect(echo)), VANTO_ERROR_NO_SERVICE);
  EXPECT_EQ(errorOf(order("status", echo)), "there is no job org.example.echo; load it first");
}

TEST_F(ManagerOrders, AStartThatFailsIsAnswered) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("exits-3", echo), "");
  EXPECT_TRUE(errorOf(order("start", echo)).starts_with("listening: exited with status 3"));
  ASSERT_EQ(loadJob(job(echo, directory_ / "missing")), "");
  EXPECT_TRUE(errorOf(order("start", echo)).starts_with("executable: No such file"));
}

TEST_F(ManagerOrders, AStartThatEndsWithoutAFailureIsAnswered) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("exits-0", echo), "");
  EXPECT_TRUE(errorOf(order("start", echo)).starts_with("listening: exited with status 0 after "));
  EXPECT_TRUE(errorOf(order("restart", echo)).starts_with("listening: exited with status 0 after "));
  EXPECT_EQ(starts(echo), 2U);
  EXPECT_EQ(number(stateOf(echo), "failures"), 0);
}

TEST_F(ManagerOrders, AStartForgetsThePauseThoughAnInstanceRuns) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo, {{"MultipleInstances", Held(vanto_bool_create(true))}}), "");
  const Held running = connect(echo);
  ASSERT_GT(tell(running, "pid").first, 0);
  // Each pause is longer than the one before.
  ASSERT_TRUE(waitUntil([] {
    static_cast<void>(tell(connect(echo), "crash"));
    return number(stateOf(echo), "retry") > 1'000'000'000;
  }));
  const Held started = order("start", echo);
  EXPECT_EQ(errorOf(started), "");
  EXPECT_EQ(text(started, "label"), echo);
  EXPECT_EQ(vanto_dictionary_get_value(started, "pid"), nullptr);
  EXPECT_EQ(text(stateOf(echo), "state"), "running");
  EXPECT_GT(tell(running, "pid").first, 0);
}

TEST_F(ManagerOrders, AServiceWithoutTheLibraryHasStartedAfterASecond) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("silent", echo), "");
  const Held reply = order("start", echo);
  EXPECT_EQ(errorOf(reply), "");
  EXPECT_TRUE(isAlive(static_cast<pid_t>(number(reply, "pid"))));
}

TEST_F(ManagerOrders, AReplacedJobKeepsItsProcess) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo);
  ASSERT_EQ(load("echo", echo), "");
  ASSERT_EQ(load("tracked", echo), "");
  EXPECT_EQ(call(echo), pid);
  EXPECT_TRUE(text(stateOf(echo), "program").ends_with("tracked@org.example.echo"));
  EXPECT_NE(load("echo", echo, {{"MultipleInstances", Held(vanto_bool_create(true))}}), "");
}

TEST_F(ManagerOrders, WatchersAreToldOfChanges) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  Awaited<std::string> states;
  const Held connection = connect("org.vanto.tolvend.user");
  vanto_connection_set_event_handler(connection, [&](vanto_object_t, vanto_object_t event) {
    const vanto_object_t body = vanto_message_get_body(event);
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    states.add(vanto_dictionary_get_value(body, "removed") != nullptr ? "removed" : text(body, "state"));
  });
  vanto_connection_resume(connection);
  const char* keys[] = {"command"};
  const Held command(vanto_string_create("watch"));
  const vanto_object_t values[] = {command};
  const Held request(vanto_dictionary_create(keys, values, 1));
  const Held reply(vanto_call(connection, request, generous));
  EXPECT_EQ(vanto_array_get_count(vanto_dictionary_get_value(reply, "jobs")), 1U);
  EXPECT_GT(call(echo), 0);
  while (states.take() != "running") {
  }
  ASSERT_EQ(errorOf(order("unload", echo)), "");
  while (states.take() != "removed") {
  }
  vanto_connection_set_event_function(connection, nullptr, nullptr, nullptr);
}

TEST_F(ManagerOrders, LinesOfTheLogAreKeptAndFollowed) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const Held client = connect(echo);
  ASSERT_GT(tell(client, "say first \x1b[31m").first, 0);
  ASSERT_TRUE(waitUntil([&] { return logOf(echo).size() == 1; }));
  EXPECT_EQ(logOf(echo).at(0), "first \x1b[31m");

  Awaited<std::string> lines;
  const Held connection = connect("org.vanto.tolvend.user");
  vanto_connection_set_event_handler(connection, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) lines.add(text(vanto_message_get_body(event), "text"));
  });
  vanto_connection_resume(connection);
  const char* keys[] = {"command", "label", "follow"};
  const Held command(vanto_string_create("logs"));
  const Held label(vanto_string_create(echo));
  const vanto_object_t values[] = {command, label, vanto_bool_create(true)};
  const Held request(vanto_dictionary_create(keys, values, 3));
  const Held reply(vanto_call(connection, request, generous));
  EXPECT_EQ(vanto_array_get_count(vanto_dictionary_get_value(reply, "lines")), 1U);
  ASSERT_GT(tell(client, "say second").first, 0);
  EXPECT_EQ(lines.take(), "second");
  vanto_connection_set_event_function(connection, nullptr, nullptr, nullptr);
}

TEST_F(ManagerOrders, WhatIsNoOrderGetsAnError) {
  const ManagerProcess manager(setting());
  const auto refusalOfOrder = [&](vanto_object_t body) {
    return errorOf(order(Held::share(body)));
  };
  EXPECT_EQ(refusalOfOrder(Held(vanto_int64_create(7))), "an order must be a dictionary");
  EXPECT_EQ(refusalOfOrder(Held(vanto_dictionary_create(nullptr, nullptr, 0))),
            "an order needs the string \"command\"");
  EXPECT_EQ(
      errorOf(order("destroy")),
      "there is no command destroy; there are load, unload, start, stop, restart, hold, status, watch, logs, why");
  EXPECT_TRUE(errorOf(order("\x1b[2J")).starts_with("there is no command \\x1b[2J; there are "));
  EXPECT_EQ(errorOf(order("start")), "start needs the string \"label\"");
  EXPECT_EQ(errorOf(order("load")), "load needs either \"job\" or \"jobData\"");
  EXPECT_EQ(errorOf(order(std::string(100'000, 'x'))).size() > 8'000, true);
  const char* keys[] = {"command", "label", "job", "jobData", "follow"};
  const Held load(vanto_string_create("load"));
  const Held number(vanto_int64_create(1));
  const Held nothing(vanto_dictionary_create(nullptr, nullptr, 0));
  const Held megabytes(vanto_data_create(std::string(3 << 20, '\0').data(), 3 << 20));
  for (const Held& data : {number, nothing, megabytes}) {
    const char* some[] = {"command", "jobData"};
    const vanto_object_t values[] = {load, data};
    EXPECT_NE(refusalOfOrder(Held(vanto_dictionary_create(some, values, 2))), "");
  }
  const vanto_object_t all[] = {load, number, number, number, number};
  EXPECT_NE(refusalOfOrder(Held(vanto_dictionary_create(keys, all, 5))), "");
  EXPECT_EQ(text(order("status"), "domain"), "user");
  EXPECT_EQ(manager.messages(), "");
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0

// What can be told without a client; the rest is tested with real managers.
#include "tolvend/Orders.h"

#include "programs/tolvend/ManagerWorld.h"
#include "tolvend/DictionaryBuilder.h"

namespace vanto::test {
namespace {

using namespace manager;

std::string errorOf(Orders& orders, const Ref<vanto_object>& order) {
  const Ref<vanto_object> reply = orders.carryOut(order.get(), nullptr, nullptr);
  if (!reply) return "later";
  const char* error = vanto_string_get_text(vanto_dictionary_get_value(reply.get(), "error"));
  return error != nullptr ? error : "";
}

Ref<vanto_object> orderOf(const std::string& command, const std::string& label = "") {
  DictionaryBuilder order;
  order.text("command", command);
  if (!label.empty()) order.text("label", label);
  return order.take();
}

TEST(Orders, AreCheckedBeforeAnythingIsDone) {
  EXPECT_TRUE(
      runWithEvents([](const auto&, Alarms& alarms) {
        ManagerWorld world(alarms);
        Orders orders(alarms, *world.jobs, Domain::User);
        EXPECT_EQ(errorOf(orders, nullptr), "an order must be a dictionary");
        EXPECT_EQ(
            errorOf(orders, orderOf("fly")),
            "there is no command fly; there are load, unload, start, stop, restart, hold, status, watch, logs, why");
        for (const char* command : {"unload", "start", "stop", "restart", "hold", "logs", "why"}) {
          EXPECT_EQ(errorOf(orders, orderOf(command)), std::string(command) + " needs the string \"label\"");
          EXPECT_EQ(errorOf(orders, orderOf(command, "a.b")), "there is no job a.b; load it first");
        }
        EXPECT_EQ(errorOf(orders, orderOf("status")), "");
        EXPECT_EQ(errorOf(orders, orderOf("status", "a.b")), "there is no job a.b; load it first");
        DictionaryBuilder wrongLabel;
        EXPECT_EQ(errorOf(orders, wrongLabel.text("command", "status").number("label", 1).take()),
                  "status needs the string \"label\"");
        finish();
      }).empty());
}

TEST(Orders, AreCarriedOut) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                Orders orders(alarms, *world.jobs, Domain::User);
                EXPECT_EQ(world.jobs->load(ManagerWorld::job("a.b")).error, "");
                EXPECT_EQ(errorOf(orders, orderOf("hold", "a.b")), "later");
                EXPECT_EQ(world.jobs->find("a.b")->state(), LifeCycle::State::Held);
                EXPECT_EQ(errorOf(orders, orderOf("why", "a.b")), "");
                EXPECT_EQ(errorOf(orders, orderOf("logs", "a.b")), "");
                DictionaryBuilder follow;
                follow.text("command", "logs").text("label", "a.b").number("follow", 1);
                EXPECT_EQ(errorOf(orders, follow.take()), "\"follow\" must be a bool");
                EXPECT_EQ(errorOf(orders, orderOf("unload", "a.b")), "later");
                EXPECT_EQ(world.jobs->find("a.b"), nullptr);
                finish();
              }).empty());
}

}  // namespace
}  // namespace vanto::test

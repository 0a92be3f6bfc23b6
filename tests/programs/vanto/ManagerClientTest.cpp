// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerClient.h"

#include "programs/vanto/ManagerFixture.h"
#include "value/Fd.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;

constexpr std::uint64_t bound = test::generous;

class ManagerClientTest : public testing::ManagerFixture {
 protected:
  static std::string kindText(OrderFault::Kind kind) {
    return kind == OrderFault::Kind::NoManager ? "none" : kind == OrderFault::Kind::Rejected ? "rejected" : "failed";
  }
  /// The fault of an order to the manager, with its kind before it.
  static std::string faultOf(const char* command, std::uint64_t timeout = bound) {
    OrderFault fault;
    const auto client = ManagerClient::connect(ManagerDomain::User, timeout, fault);
    if (client && client->send(Order(command), fault)) return "answered";
    return kindText(fault.kind) + ": " + fault.text;
  }
};

TEST_F(ManagerClientTest, GetsAnswers) {
  FakeManager manager;
  manager.answer("status", R"({"a": 1})");
  OrderFault fault;
  const auto client = ManagerClient::connect(ManagerDomain::User, bound, fault);
  ASSERT_TRUE(client);
  EXPECT_EQ(client->domain(), ManagerDomain::User);
  EXPECT_TRUE(vanto_equal(client->send(Order("status", "l"), fault).get(), testing::objectOf(R"({"a": 1})")));
  EXPECT_EQ(manager.orders(), std::vector<std::string>{"status l"});
}

TEST_F(ManagerClientTest, SaysThatNoManagerRunsAndHowToStartOne) {
  EXPECT_EQ(faultOf("status"), "none: no service manager of the user domain runs; start one: tolvend --domain user");
  OrderFault fault;
  EXPECT_FALSE(ManagerClient::connect(ManagerDomain::Session, bound, fault));
  EXPECT_EQ(fault.text, "no service manager of the session domain runs; start one: tolvend --domain session");
}

TEST_F(ManagerClientTest, SaysWhatTheManagerSaidWasWrong) {
  FakeManager manager;
  manager.answer("start", R"({"error": "no such job\u001b; load it"})");
  EXPECT_EQ(faultOf("start"), "rejected: no such job\\x1b; load it");
}

TEST_F(ManagerClientTest, SaysThatAnAnswerMakesNoSense) {
  FakeManager manager;
  const std::string begin = "failed: the service manager of the user domain gave an answer that makes no sense: ";
  manager.answer("status", R"("text")");
  EXPECT_EQ(faultOf("status"), begin + "no dictionary");
  manager.answer("status", R"({"error": 3})");
  EXPECT_EQ(faultOf("status"), begin + "no string \"error\"");
}

TEST_F(ManagerClientTest, WaitsNoLongerThanItsBound) {
  FakeManager manager;
  manager.leaveUnanswered("status");
  EXPECT_EQ(faultOf("status", 50'000'000),
            "failed: the service manager of the user domain did not answer within 0.05 s; it may still do what it was "
            "asked to");
}

TEST_F(ManagerClientTest, SaysThatTheManagerEnded) {
  FakeManager manager;
  manager.leaveUnanswered("stop", FakeManager::Then::HangUp);
  EXPECT_EQ(faultOf("stop"),
            "failed: the service manager of the user domain ended before it answered; it may have done what it was "
            "asked to");
}

TEST_F(ManagerClientTest, SaysThatTheManagerRefusesToTalk) {
  vanto_set_connections_per_user(0);
  {
    // It listens, and admits nobody.
    const test::Service service("org.vanto.tolvend.user");
    const std::string fault = faultOf("status");
    EXPECT_TRUE(fault.starts_with("failed: the service manager of the user domain cannot be asked: ")) << fault;
  }
  vanto_set_connections_per_user(1024);
}

TEST_F(ManagerClientTest, HandsOnWhatComesWithoutBeingAskedFor) {
  FakeManager manager;
  manager.answer("watch", R"({"jobs": []})", {R"({"label": "a"})", "7"}, FakeManager::Then::HangUp);
  OrderFault fault;
  const auto client = ManagerClient::connect(ManagerDomain::User, bound, fault);
  ASSERT_TRUE(client);
  const auto inbox = std::make_shared<MessageInbox>();
  client->listen(inbox, 3);
  ASSERT_TRUE(client->send(Order("watch"), fault)) << fault.text;
  const MessageInbox::Item first = inbox->take();
  EXPECT_EQ(first.sender, 3U);
  EXPECT_TRUE(vanto_equal(first.content.get(), testing::objectOf(R"({"label": "a"})")));
  EXPECT_EQ(vanto_int64_get_value(inbox->take().content.get()), 7);
  EXPECT_EQ(vanto_kind(inbox->take().content.get()), VANTO_KIND_ERROR);
}

}  // namespace
}  // namespace vanto::tool

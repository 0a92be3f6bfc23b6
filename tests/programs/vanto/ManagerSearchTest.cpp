// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerSearch.h"

#include "programs/vanto/ManagerFixture.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;

class ManagerSearchTest : public testing::ManagerFixture {
 protected:
  /// Of the user's domain alone: the machine may have a manager of its own.
  static ManagerChoice userChoice() { return {ManagerDomain::User, test::generous}; }
};

TEST_F(ManagerSearchTest, FindsTheJobAndItsManager) {
  FakeManager manager;
  manager.answer("status", FakeManager::status({FakeManager::job("b"), FakeManager::job("a")}));
  ManagerSearch search(userChoice());
  std::string problem;
  const auto found = search.find("a", problem);
  ASSERT_TRUE(found) << problem;
  EXPECT_EQ(found->manager->domain(), ManagerDomain::User);
  EXPECT_EQ(found->state.label, "a");
  EXPECT_EQ(manager.orders(), std::vector<std::string>{"status a"});
}

TEST_F(ManagerSearchTest, SaysThatNobodyKnowsTheLabel) {
  FakeManager manager;
  manager.answer("status", FakeManager::status({}));
  ManagerSearch search(userChoice());
  std::string problem;
  EXPECT_FALSE(search.find("a\x1b", problem));
  EXPECT_EQ(problem, "a\\x1b: no job of that label is loaded (user domain); load it: vanto load BUNDLE");
  manager.answer("status", R"({"error": "what is that?"})");
  EXPECT_FALSE(search.find("a", problem));
  EXPECT_EQ(problem, "a: what is that?");
  manager.answer("status", R"({"jobs": 1})");
  EXPECT_FALSE(search.find("a", problem));
  EXPECT_EQ(problem, "a: the service manager of the user domain gave an answer that makes no sense: no array \"jobs\"");
}

TEST_F(ManagerSearchTest, SaysThatThereIsNoManager) {
  ManagerSearch search(userChoice());
  std::string problem;
  EXPECT_FALSE(search.find("a", problem));
  EXPECT_EQ(problem, "a: no service manager of the user domain runs; start one: tolvend --domain user");
}

TEST_F(ManagerSearchTest, ConnectsToEachManagerOnce) {
  FakeManager manager;
  ManagerSearch search({std::nullopt, test::generous});
  OrderFault fault;
  ManagerClient* client = search.manager(ManagerDomain::User, fault);
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(search.manager(ManagerDomain::User, fault), client);
  EXPECT_EQ(search.manager(ManagerDomain::Session, fault), nullptr);
  fault = {};
  EXPECT_EQ(search.manager(ManagerDomain::Session, fault), nullptr);
  EXPECT_EQ(fault.kind, OrderFault::Kind::NoManager);
  std::vector<std::string> problems;
  const std::vector<ManagerClient*> managers = search.managers(problems);
  EXPECT_EQ(std::count(managers.begin(), managers.end(), client), 1);
  EXPECT_TRUE(problems.empty());
}

TEST_F(ManagerSearchTest, LooksInTheSessionFirst) {
  // The fake one of the session listens in the user's directory, where clients look next.
  FakeManager session("session");
  FakeManager user("user");
  session.answer("status", FakeManager::status({FakeManager::job("a")}));
  user.answer("status", FakeManager::status({FakeManager::job("a"), FakeManager::job("b")}));
  ManagerSearch search({std::nullopt, test::generous});
  std::string problem;
  EXPECT_EQ(search.find("a", problem).value().manager->domain(), ManagerDomain::Session);
  EXPECT_EQ(search.find("b", problem).value().manager->domain(), ManagerDomain::User);
}

}  // namespace
}  // namespace vanto::tool

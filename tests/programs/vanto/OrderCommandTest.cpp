// SPDX-License-Identifier: Apache-2.0
#include "vanto/OrderCommand.h"

#include "programs/vanto/ManagerFixture.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;
using testing::ToolRun;
using Words = std::vector<std::string>;

class OrderCommandTest : public testing::ManagerFixture {
 protected:
  OrderCommandTest() {
    manager_.answer("status", FakeManager::status({FakeManager::job("org.example.a"), FakeManager::job("b")}));
  }

  FakeManager manager_;
};

TEST_F(OrderCommandTest, GivesEachOrderAndSaysWhatCameOfIt) {
  const std::pair<const char*, const char*> orders[] = {{"unload", "b: unloaded\n"},
                                                        {"stop", "b: stopped; the next client starts it again\n"},
                                                        {"hold", "b: held; no client starts it until vanto start\n"}};
  for (const auto& [order, output] : orders) {
    manager_.answer(order, R"({"label": "b"})");
    const ToolRun run = runForUser({order, "b"});
    EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
    EXPECT_EQ(run.output, output);
    EXPECT_EQ(manager_.orders().back(), order + std::string(" b"));
  }
  manager_.answer("start", R"({"label": "b", "pid": 12})");
  EXPECT_EQ(runForUser({"start", "b"}).output, "b: started, process 12\n");
  manager_.answer("restart", R"({"label": "b", "pid": 13})");
  EXPECT_EQ(runForUser({"restart", "b"}).output, "b: restarted, process 13\n");
}

TEST_F(OrderCommandTest, TakesThePathOfABundle) {
  manager_.answer("stop", R"({"label": "org.example.a"})");
  EXPECT_EQ(runForUser({"stop", bundle_.path()}).status, ExitStatus::Fine);
  EXPECT_EQ(manager_.orders(), (Words{"status org.example.a", "stop org.example.a"}));
}

TEST_F(OrderCommandTest, GoesOnBehindOneThatFailed) {
  manager_.answerAbout("org.example.a", "start", R"({"error": "executable: gone"})");
  manager_.answerAbout("b", "start", R"({"label": "b", "pid": 1})");
  const ToolRun run = runForUser({"start", "org.example.a", "c", "", "b"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.output, "b: started, process 1\n");
  EXPECT_EQ(run.messages,
            "vanto: org.example.a: executable: gone\n"
            "vanto: c: no job of that label is loaded (user domain); load it: vanto load BUNDLE\n"
            "vanto: a label cannot be empty\n");
}

TEST_F(OrderCommandTest, WaitsNoLongerThanItMay) {
  manager_.leaveUnanswered("stop");
  const ToolRun run = runForUser({"stop", "--timeout", "1", "b"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages,
            "vanto: b: the service manager of the user domain did not answer within 1 s; it may still do what it was "
            "asked to\n");
}

TEST_F(OrderCommandTest, SaysWhatIsWrongWithAnAnswer) {
  for (const char* answer : {"1", "{}", R"({"label": 2})", R"({"label": "b", "pid": "x"})"}) {
    manager_.answer("start", answer);
    const ToolRun run = runForUser({"start", "b"});
    EXPECT_EQ(run.status, ExitStatus::Failed) << answer;
    EXPECT_TRUE(
        run.messages.starts_with("vanto: b: the service manager of the user domain gave an answer that makes "
                                 "no sense: no "))
        << run.messages;
  }
}

TEST_F(OrderCommandTest, CommandsNoTerminalByLabels) {
  const std::string label = "\x1b]0;x\x07\n";
  manager_.answer("status", FakeManager::status({FakeManager::job(R"(\u001b]0;x\u0007\n)")}));
  manager_.answer("stop", R"({"label": "x"})");
  const ToolRun run = runForUser({"stop", label});
  EXPECT_EQ(run.output, "\\x1b]0;x\\x07\\n: stopped; the next client starts it again\n");
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0

// What a manager finds that another one has left which was killed, or has ended.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>
#include <tuple>

#include <sys/resource.h>
#include <sys/socket.h>

#include "ipc/Domain.h"
#include "ipc/PublishedSocket.h"
#include "support/MemoryLimit.h"
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

using ManagerSuccessor = ManagerFixture;

TEST_F(ManagerSuccessor, AfterItWasKilledTheNextOneEndsWhatItLeft) {
  ManagerProcess first(setting());
  ASSERT_EQ(load("echo", echo), "");
  ASSERT_EQ(load("silent", "org.example.silent"), "");
  const Held client = connect(echo);
  const std::int64_t pid = tell(client, "pid").first;
  ASSERT_EQ(vanto_error_get_code(connect("org.example.silent", 50'000'000)), VANTO_ERROR_TIMED_OUT);
  const std::int64_t silent =
      number(vanto_array_get_value(vanto_dictionary_get_value(stateOf("org.example.silent"), "instances"), 0), "pid");
  ASSERT_TRUE(isAlive(static_cast<pid_t>(silent)));
  first.signal(SIGKILL);
  EXPECT_EQ(first.waitForEnd(), "signal 9");
  // A service that uses the library ends by itself then.
  EXPECT_TRUE(waitUntil([&] { return !isAlive(static_cast<pid_t>(pid)); }));
  const ManagerProcess second(setting());
  ASSERT_TRUE(second.isReady()) << second.messages();
  EXPECT_TRUE(waitUntil([&] { return !isAlive(static_cast<pid_t>(silent)); }));
  const std::int64_t fresh = call(echo);
  EXPECT_GT(fresh, 0);
  EXPECT_NE(fresh, pid);
  EXPECT_EQ(second.messages(), "");
}

TEST_F(ManagerSuccessor, AFormerProcessThatDoesNotEndIsKilledBeforeTheNextStart) {
  ManagerProcess first(impatient());
  ASSERT_EQ(load("stubborn", echo), "");
  const std::int64_t pid = call(echo);
  first.signal(SIGSTOP);
  stopProcess(static_cast<pid_t>(pid));
  first.signal(SIGKILL);
  EXPECT_EQ(first.waitForEnd(), "signal 9");
  const ManagerProcess second(impatient());
  EXPECT_TRUE(isAlive(static_cast<pid_t>(pid)));
  EXPECT_NE(call(echo), pid);
  EXPECT_FALSE(isAlive(static_cast<pid_t>(pid)));
}

/// Orders while a process that a killed manager has left has not ended.
class ManagerOfAFormerProcess : public ManagerFixture {
 protected:
  void SetUp() override {
    ManagerProcess first(impatient());
    ASSERT_EQ(load("stubborn", echo), "");
    former_ = static_cast<pid_t>(call(echo));
    first.signal(SIGSTOP);
    stopProcess(former_);
    first.signal(SIGKILL);
    EXPECT_EQ(first.waitForEnd(), "signal 9");
  }
  pid_t former_ = 0;
};

TEST_F(ManagerOfAFormerProcess, StopIsAnsweredWhenThatHasEnded) {
  const ManagerProcess second(impatient());
  ASSERT_TRUE(isAlive(former_));
  EXPECT_EQ(text(stateOf(echo), "state"), "stopping");
  EXPECT_EQ(errorOf(order("stop", echo)), "");
  EXPECT_FALSE(isAlive(former_));
  EXPECT_EQ(text(stateOf(echo), "state"), "resting");
}

TEST_F(ManagerOfAFormerProcess, UnloadIsAnsweredWhenThatHasEnded) {
  const ManagerProcess second(impatient());
  ASSERT_TRUE(isAlive(former_));
  EXPECT_EQ(errorOf(order("unload", echo)), "");
  EXPECT_FALSE(isAlive(former_));
}

TEST_F(ManagerOfAFormerProcess, AJobThatIsLoadedAgainStartsWhenThatHasEnded) {
  const ManagerProcess second(impatient());
  std::thread unload([] { EXPECT_EQ(errorOf(order("unload", echo)), ""); });
  ASSERT_TRUE(waitUntil([] { return !errorOf(order("status", echo)).empty(); }));
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_TRUE(isAlive(former_));
  EXPECT_GT(call(echo), 0);
  EXPECT_FALSE(isAlive(former_));
  unload.join();
}

TEST_F(ManagerOfAFormerProcess, ClientsOfAHeldJobAreToldAtOnce) {
  const ManagerProcess second(impatient());
  std::thread hold([this] {
    EXPECT_EQ(errorOf(order("hold", echo)), "");
    EXPECT_FALSE(isAlive(former_));
  });
  ASSERT_TRUE(waitUntil([] { return text(stateOf(echo), "state") == "held"; }));
  EXPECT_TRUE(refusalOf(echo).starts_with("15 org.example.echo: not started: held"));
  EXPECT_TRUE(isAlive(former_));
  hold.join();
}

TEST_F(ManagerSuccessor, ClientsThatWaitWhenItIsKilledAreLetGoAndTheNextOneServesThem) {
  ManagerProcess first(setting());
  ASSERT_EQ(load("echo", echo), "");
  first.signal(SIGSTOP);
  std::int64_t pid = 0;
  std::string error;
  std::thread client([&] { std::tie(pid, error) = tell(connect(echo), "pid"); });
  // Nobody accepts, so this one waits too.
  const Fd waiting = connectToSocket(openDomain(Domain::User).get(), echo, UINT64_MAX);
  ASSERT_TRUE(waiting);
  first.signal(SIGKILL);
  EXPECT_EQ(first.waitForEnd(), "signal 9");
  char byte = 0;
  EXPECT_LE(recv(waiting.get(), &byte, 1, 0), 0);
  client.join();
  EXPECT_EQ(error, vanto_error_text(VANTO_ERROR_NO_SERVICE));
  EXPECT_EQ(pid, -1);
  const ManagerProcess second(setting());
  EXPECT_GT(call(echo), 0);
}

TEST_F(ManagerSuccessor, AHeldJobStaysHeldUnderTheNextManager) {
  {
    const ManagerProcess first(setting());
    ASSERT_EQ(load("echo", echo), "");
    ASSERT_EQ(errorOf(order("hold", echo)), "");
    EXPECT_EQ(text(stateOf(echo), "state"), "held");
  }
  const ManagerProcess second(setting());
  EXPECT_EQ(text(stateOf(echo), "state"), "held");
  EXPECT_TRUE(refusalOf(echo).starts_with("15 org.example.echo: not started: held"));
  EXPECT_EQ(starts(echo), 0U);
  ASSERT_EQ(errorOf(order("start", echo)), "");
  EXPECT_GT(call(echo), 0);
}

TEST_F(ManagerSuccessor, AHeldJobThatWasRestartedIsNotHeldUnderTheNextManager) {
  {
    const ManagerProcess first(setting());
    ASSERT_EQ(load("echo", echo), "");
    ASSERT_EQ(errorOf(order("hold", echo)), "");
    ASSERT_EQ(errorOf(order("restart", echo)), "");
  }
  const ManagerProcess second(setting());
  EXPECT_EQ(text(stateOf(echo), "state"), "resting");
  EXPECT_GT(call(echo), 0);
}

TEST_F(ManagerSuccessor, ADamagedJobIsNamedAndLeftAlone) {
  {
    const ManagerProcess first(setting());
    ASSERT_EQ(load("echo", echo), "");
  }
  std::ofstream(socketPath(".tolvend/jobs/org.example.damaged")) << "no job";
  const ManagerProcess second(setting());
  ASSERT_TRUE(second.isReady());
  EXPECT_NE(second.messages().find("jobs/org.example.damaged"), std::string::npos) << second.messages();
  EXPECT_TRUE(std::filesystem::exists(socketPath(".tolvend/jobs/org.example.damaged")));
  EXPECT_GT(call(echo), 0);
}

// The sanitizer looks at memory through pipes, which it cannot make without descriptors.
#ifndef VANTO_TEST_SANITIZED
TEST_F(ManagerSuccessor, WithFewDescriptorsItKeepsJobsAndTakesOrders) {
  constexpr int count = 40;
  const auto name = [](int i) {
    return "org.example.job" + std::to_string(i);
  };
  {
    const ManagerProcess first(setting());
    for (int i = 0; i < count; i++) ASSERT_EQ(load("echo", name(i)), "");
  }
  const auto loaded = [&] {
    return vanto_array_get_count(vanto_dictionary_get_value(order("status"), "jobs"));
  };
  {
    ManagerSetting scarce = setting();
    scarce.prepare = [] {
      const rlimit limit{48, 48};
      setrlimit(RLIMIT_NOFILE, &limit);
    };
    const ManagerProcess second(scarce);
    ASSERT_TRUE(second.isReady()) << second.messages();
    const std::size_t before = loaded();
    EXPECT_GT(before, 0U);
    EXPECT_LT(before, std::size_t{count});
    EXPECT_NE(second.messages().find(": not loaded: "), std::string::npos) << second.messages();
    const Held state = Held::share(vanto_array_get_value(vanto_dictionary_get_value(order("status"), "jobs"), 0));
    const std::string label = text(state, "label");
    EXPECT_GT(call(label), 0);
    EXPECT_EQ(errorOf(order("unload", label)), "");
    EXPECT_EQ(loaded(), before - 1);
  }
  const ManagerProcess third(setting());
  EXPECT_EQ(loaded(), std::size_t{count - 1});
}
#endif

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0

// How managers run and end, and what becomes of services and clients then.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>

#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

using ManagerLife = ManagerFixture;

TEST_F(ManagerLife, EndsItsServicesAndKeepsItsJobs) {
  std::int64_t pid = 0;
  {
    ManagerProcess manager(setting());
    ASSERT_EQ(load("echo", echo), "");
    pid = call(echo);
    EXPECT_EQ(manager.terminate(), "exit status 0");
    EXPECT_EQ(manager.messages(), "");
  }
  EXPECT_FALSE(isAlive(static_cast<pid_t>(pid)));
  EXPECT_FALSE(std::filesystem::exists(socketPath(echo)));
  EXPECT_FALSE(std::filesystem::exists(socketPath("org.vanto.tolvend.user")));
  EXPECT_TRUE(std::filesystem::is_empty(socketPath(".tolvend/processes")));
  EXPECT_TRUE(std::filesystem::exists(socketPath(".tolvend/jobs/org.example.echo")));
  const ManagerProcess next(setting());
  EXPECT_NE(call(echo), pid);
}

TEST_F(ManagerLife, ClientsThatWaitWhenItEndsAreToldSo) {
  ManagerProcess manager(setting());
  ASSERT_EQ(load("silent", echo), "");
  // Waits at the listener of a service that does not accept.
  std::string refusal;
  std::thread client([&] { refusal = refusalOf(echo); });
  ASSERT_TRUE(waitUntil([&] { return starts(echo) == 1; }));
  EXPECT_EQ(manager.terminate(), "exit status 0");
  client.join();
  EXPECT_EQ(refusal, "15 org.example.echo: not started: manager: the service manager is ending");
}

TEST_F(ManagerLife, KillsAServiceThatDoesNotEnd) {
  ManagerProcess manager(impatient());
  ASSERT_EQ(load("stubborn", echo), "");
  const std::int64_t pid = call(echo);
  EXPECT_EQ(manager.terminate(), "exit status 0");
  EXPECT_FALSE(isAlive(static_cast<pid_t>(pid)));
}

TEST_F(ManagerLife, ATerminalThatIsGoneEndsItUnlessThatShallBeIgnored) {
  ManagerProcess one(setting());
  one.signal(SIGHUP);
  EXPECT_EQ(one.waitForEnd(), "exit status 0");
  ManagerSetting changed = setting();
  changed.prepare = [] {
    for (const int number : {SIGHUP, SIGINT}) std::signal(number, SIG_IGN);
  };
  ManagerProcess other(changed);
  other.signal(SIGHUP);
  other.signal(SIGINT);
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_GT(call(echo), 0);
  EXPECT_EQ(other.terminate(), "exit status 0");
  const auto ignoredBy = [&](const ManagerSetting& base) {
    ManagerSetting command = base;
    command.arguments = {"--ephemeral", directory_ / "ephemeral", "--", "sh", "-c", "kill -HUP $$; exit 3"};
    return ManagerProcess(command).waitForEnd();
  };
  EXPECT_EQ(ignoredBy(setting()), "exit status 129");
  EXPECT_EQ(ignoredBy(changed), "exit status 3");
}

TEST_F(ManagerLife, ASecondManagerOfADomainEnds) {
  const ManagerProcess manager(setting());
  ManagerProcess second(setting());
  EXPECT_FALSE(second.isReady());
  EXPECT_EQ(second.waitForEnd(), "exit status 75");
  EXPECT_EQ(
      second.messages(),
      "tolvend: there is a manager of the user domain already; end it first, or use --ephemeral for one of your own\n");
}

TEST_F(ManagerLife, NobodyWhoDoesNotReadItsMessagesStopsIt) {
  static_cast<void>(ManagerProcess(setting()).terminate());
  std::ofstream(socketPath(".tolvend/jobs/org.example.damaged")) << "no job";
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  const Fd reader(ends[0]);
  const Fd writer(ends[1]);
  const std::string page(4096, 'x');
  while (write(writer.get(), page.data(), page.size()) > 0) {
  }
  ASSERT_EQ(fcntl(writer.get(), F_SETFL, 0), 0);
  ManagerSetting unread = setting();
  unread.prepare = [&] {
    dup2(writer.get(), STDERR_FILENO);
    // One that waits for ever is not to keep the test.
    alarm(20);
  };
  ManagerProcess manager(unread);
  ASSERT_TRUE(manager.isReady());
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_GT(call(echo), 0);
  EXPECT_EQ(manager.terminate(), "exit status 0");
}

TEST_F(ManagerLife, NobodyWhoLocksTheDirectoryOfItsDomainStopsIt) {
  ASSERT_EQ(ManagerProcess(setting()).terminate(), "exit status 0");
  const Fd directory(open((directory_ / "run/vanto/user").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(directory.get(), LOCK_EX), 0);
  ManagerProcess manager(setting());
  ASSERT_TRUE(manager.isReady()) << manager.messages();
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_GT(call(echo), 0);
  EXPECT_EQ(errorOf(order("unload", echo)), "");
  EXPECT_EQ(manager.terminate(), "exit status 0");
}

}  // namespace
}  // namespace vanto::test

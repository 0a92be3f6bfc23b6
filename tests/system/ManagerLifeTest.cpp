// SPDX-License-Identifier: Apache-2.0

// How managers end, die and come back, and what becomes of services and clients meanwhile.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <tuple>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "ipc/Domain.h"
#include "ipc/PublishedSocket.h"
#include "support/LeftObjects.h"
#include "support/MemoryLimit.h"
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

class ManagerLife : public ManagerFixture {
 protected:
  /// The processes that the service has told of, once they are so many.
  static std::vector<pid_t> awaitAway(std::size_t count) {
    std::vector<pid_t> away;
    EXPECT_TRUE(waitUntil([&] {
      away.clear();
      for (const std::string& line : logOf(echo)) {
        if (line.starts_with("away ")) away.push_back(std::atoi(line.c_str() + 5));
      }
      return away.size() == count;
    }));
    return away;
  }
};

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
  EXPECT_EQ(second.messages(), "tolvend: there is a manager of the user domain already\n");
}

TEST_F(ManagerLife, AfterItWasKilledTheNextOneEndsWhatItLeft) {
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

TEST_F(ManagerLife, AfterItWasKilledTheNextOneEndsWhatItsServicesHaveLeft) {
  ManagerProcess first(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo, "child");
  pid_t child = 0;
  ASSERT_TRUE(waitUntil([&] {
    for (const std::string& line : logOf(echo)) {
      if (line.starts_with("child ")) child = std::atoi(line.c_str() + 6);
    }
    return child != 0;
  }));
  first.signal(SIGKILL);
  EXPECT_EQ(first.waitForEnd(), "signal 9");
  EXPECT_TRUE(waitUntil([&] { return !isAlive(static_cast<pid_t>(pid)); }));
  EXPECT_TRUE(isAlive(child));
  const ManagerProcess second(setting());
  EXPECT_TRUE(waitUntil([&] { return !isAlive(child); }));
}

TEST_F(ManagerLife, AFormerProcessThatDoesNotEndIsKilledBeforeTheNextStart) {
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

TEST_F(ManagerLife, ClientsThatWaitWhenItIsKilledAreLetGoAndTheNextOneServesThem) {
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

TEST_F(ManagerLife, AHeldJobStaysHeldUnderTheNextManager) {
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

TEST_F(ManagerLife, AHeldJobThatWasRestartedIsNotHeldUnderTheNextManager) {
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

TEST_F(ManagerLife, ADamagedJobIsNamedAndLeftAlone) {
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

// The sanitizer looks at memory through pipes, which it cannot make without descriptors.
#ifndef VANTO_TEST_SANITIZED
TEST_F(ManagerLife, WithFewDescriptorsItKeepsJobsAndTakesOrders) {
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

TEST_F(ManagerLife, WhatAServiceLeavesBehindEndsWithIt) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo, "away");
  pid_t away = 0;
  ASSERT_TRUE(waitUntil([&] {
    for (const std::string& line : logOf(echo)) {
      if (line.starts_with("away ")) away = std::atoi(line.c_str() + 5);
    }
    return away != 0;
  }));
  EXPECT_TRUE(isAlive(away));
  ASSERT_EQ(kill(static_cast<pid_t>(pid), SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return !isAlive(away); }));
}

TEST_F(ManagerLife, WhatAServiceHasNestedEndsWithTheManager) {
  // Each is handed over only when its parent was killed.
  ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_GT(call(echo, "nest"), 0);
  const std::vector<pid_t> away = awaitAway(6);
  EXPECT_EQ(manager.terminate(), "exit status 0");
  for (const pid_t pid : away) EXPECT_FALSE(isAlive(pid));
}

TEST_F(ManagerLife, WhatCameToItWhileTheServiceRanEndsWithTheService) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const auto pid = static_cast<pid_t>(call(echo, "twice"));
  const std::vector<pid_t> away = awaitAway(1);
  ASSERT_EQ(away.size(), 1U);
  EXPECT_TRUE(isAlive(away[0]));
  ASSERT_EQ(kill(pid, SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return !isAlive(away[0]); }));
}

TEST_F(ManagerLife, ProcessesThatAreNoneOfItsServicesAreLeftAlone) {
  int told[2];
  int held[2];
  ASSERT_EQ(pipe(told), 0);
  ASSERT_EQ(pipe(held), 0);
  const Fd reading(told[0]);
  Fd holding(held[1]);
  ManagerSetting changed = setting();
  changed.prepare = [&] {
    if (fork() != 0) return;
    holding.reset();
    // The older one leaves the younger one to the manager.
    pid_t pids[2] = {getpid(), fork()};
    if (pids[1] == 0) {
      for (;;) pause();
    }
    static_cast<void>(!write(told[1], pids, sizeof pids));
    static_cast<void>(!read(held[0], pids, 1));
    _exit(0);
  };
  ManagerProcess manager(changed);
  pid_t pids[2];
  ASSERT_EQ(read(reading.get(), pids, sizeof pids), static_cast<ssize_t>(sizeof pids));
  const auto [parent, orphan] = pids;
  for (const int end : {told[1], held[0]}) close(end);
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo, "away");
  pid_t away = 0;
  ASSERT_TRUE(waitUntil([&] {
    for (const std::string& line : logOf(echo)) {
      if (line.starts_with("away ")) away = std::atoi(line.c_str() + 5);
    }
    return away != 0;
  }));
  EXPECT_TRUE(isAlive(parent));
  holding.reset();
  EXPECT_TRUE(waitUntil([parent = parent] { return kill(parent, 0) != 0; })) << "it is not reaped";
  ASSERT_EQ(kill(static_cast<pid_t>(pid), SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return !isAlive(away); }));
  EXPECT_EQ(manager.terminate(), "exit status 0");
  EXPECT_TRUE(isAlive(orphan));
  EXPECT_EQ(kill(orphan, SIGKILL), 0);
}

TEST_F(ManagerLife, RefusesADirectoryThatIsNotItsOwn) {
  const std::string runtime = directory_ / "run";
  const auto refused = [&] {
    ManagerProcess manager(setting());
    EXPECT_FALSE(manager.isReady());
    EXPECT_EQ(manager.waitForEnd(), "exit status 1");
    return manager.messages();
  };
  ASSERT_EQ(chmod(runtime.c_str(), 0770), 0);
  EXPECT_EQ(refused(), "tolvend: XDG_RUNTIME_DIR, " + runtime +
                           ", cannot be used: it is not this user's, or others may change it\n");
  ASSERT_EQ(chmod(runtime.c_str(), 0700), 0);
  std::filesystem::create_directory(directory_ / "elsewhere");
  std::filesystem::create_directory_symlink(directory_ / "elsewhere", directory_ / "run/vanto");
  EXPECT_EQ(refused(),
            "tolvend: the directory of the user domain cannot be used: it leads through a symbolic link, or is no "
            "directory\n");
  EXPECT_TRUE(std::filesystem::is_empty(directory_ / "elsewhere"));
}

TEST_F(ManagerLife, RefusesADirectoryOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(mkdir((directory_ / "run/vanto").c_str(), 0700), 0);
  ASSERT_EQ(chown((directory_ / "run/vanto").c_str(), 12345, 12345), 0);
  ManagerProcess manager(setting());
  EXPECT_FALSE(manager.isReady());
  EXPECT_EQ(manager.waitForEnd(), "exit status 1");
  EXPECT_EQ(manager.messages(),
            "tolvend: the directory of the user domain cannot be used: it is not this user's, or others may change "
            "it\n");
}

TEST_F(ManagerLife, LoadsNoJobWhoseNameSomebodyElseServes) {
  const ManagerProcess manager(setting());
  const Held rival(vanto_connection_create_listener(echo, nullptr));
  vanto_connection_resume(rival);
  EXPECT_EQ(load("echo", echo), "org.example.echo: not loaded: another process already serves this name; end it first");
  EXPECT_TRUE(std::filesystem::exists(socketPath(echo)));
  EXPECT_FALSE(std::filesystem::exists(socketPath(".tolvend/jobs/org.example.echo")));
  vanto_close(rival);
  EXPECT_EQ(load("echo", echo), "");
  // What watches for the end of the process, made with its first listener.
  vanto::testing::leaveObjects(1);
}

TEST_F(ManagerLife, LoadsNoJobWhereSomethingElseIsInTheWayOfItsSocket) {
  {
    const ManagerProcess manager(setting());
    std::ofstream(socketPath(echo)) << "somebody's text";
    EXPECT_EQ(load("echo", echo),
              std::string(echo) + ": not loaded: " + socketPath(echo) + " is no socket; move it away");
    EXPECT_EQ(std::filesystem::file_size(socketPath(echo)), 15U);
    std::filesystem::remove(socketPath(echo));
    EXPECT_EQ(load("echo", echo), "");
  }
  std::ofstream(socketPath(echo)) << "somebody's text";
  const ManagerProcess next(setting());
  ASSERT_TRUE(next.isReady());
  EXPECT_EQ(next.messages(),
            "tolvend: " + std::string(echo) + ": not loaded: " + socketPath(echo) + " is no socket; move it away\n");
  EXPECT_EQ(std::filesystem::file_size(socketPath(echo)), 15U);
}

TEST_F(ManagerLife, ASocketThatSomebodyRemovesOrReplacesIsPublishedAgain) {
  ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo);
  std::filesystem::remove(socketPath(echo));
  ASSERT_TRUE(waitUntil([] { return vanto_kind(connect(echo)) == VANTO_KIND_CONNECTION; }));
  EXPECT_EQ(call(echo), pid) << "it serves on";
  // By the socket of another service.
  ASSERT_EQ(load("echo", "org.example.other"), "");
  std::filesystem::rename(socketPath("org.example.other"), socketPath(echo));
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(socketPath("org.example.other")) && call(echo) == pid; }));
  EXPECT_NE(call("org.example.other"), pid);
  EXPECT_EQ(number(stateOf(echo), "failures"), 0);
  const Held why = order("why", echo);
  EXPECT_NE(text(vanto_dictionary_get_value(why, "socket"), "text").find("published again"), std::string::npos);
  EXPECT_EQ(logOf(echo).size(), 1U);
  // The manager's own.
  std::filesystem::remove(socketPath("org.vanto.tolvend.user"));
  ASSERT_TRUE(waitUntil([&] { return errorOf(order("status", echo)).empty(); }));
  EXPECT_EQ(manager.messages(),
            "tolvend: the socket for orders was removed or replaced by somebody, and is published again\n");
  EXPECT_EQ(manager.terminate(), "exit status 0");
  EXPECT_FALSE(std::filesystem::exists(socketPath("org.vanto.tolvend.user")));
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

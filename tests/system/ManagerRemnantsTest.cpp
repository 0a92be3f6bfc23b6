// SPDX-License-Identifier: Apache-2.0

// What becomes of processes that services leave behind.
#include <csignal>
#include <cstdlib>

#include <unistd.h>

#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

class ManagerRemnants : public ManagerFixture {
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

TEST_F(ManagerRemnants, AfterItWasKilledTheNextOneEndsWhatItsServicesHaveLeft) {
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

TEST_F(ManagerRemnants, WhatAServiceLeavesBehindEndsWithIt) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo, "away");
  const std::vector<pid_t> told = awaitAway(1);
  ASSERT_EQ(told.size(), 1U);
  const pid_t away = told.front();
  EXPECT_TRUE(isAlive(away));
  ASSERT_EQ(kill(static_cast<pid_t>(pid), SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return !isAlive(away); }));
}

TEST_F(ManagerRemnants, WhatAServiceHasNestedEndsWithTheManager) {
  // Each is handed over only when its parent was killed.
  ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  EXPECT_GT(call(echo, "nest"), 0);
  const std::vector<pid_t> away = awaitAway(6);
  EXPECT_EQ(manager.terminate(), "exit status 0");
  for (const pid_t pid : away) EXPECT_FALSE(isAlive(pid));
}

TEST_F(ManagerRemnants, WhatCameToItWhileTheServiceRanEndsWithTheService) {
  const ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const auto pid = static_cast<pid_t>(call(echo, "twice"));
  const std::vector<pid_t> away = awaitAway(1);
  ASSERT_EQ(away.size(), 1U);
  EXPECT_TRUE(isAlive(away[0]));
  ASSERT_EQ(kill(pid, SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return !isAlive(away[0]); }));
}

TEST_F(ManagerRemnants, ProcessesThatAreNoneOfItsServicesAreLeftAlone) {
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
  const std::vector<pid_t> away = awaitAway(1);
  ASSERT_EQ(away.size(), 1U);
  EXPECT_TRUE(isAlive(parent));
  holding.reset();
  EXPECT_TRUE(waitUntil([parent = parent] { return kill(parent, 0) != 0; })) << "it is not reaped";
  ASSERT_EQ(kill(static_cast<pid_t>(pid), SIGKILL), 0);
  EXPECT_TRUE(waitUntil([&] { return !isAlive(away.front()); }));
  EXPECT_EQ(manager.terminate(), "exit status 0");
  EXPECT_TRUE(isAlive(orphan));
  EXPECT_EQ(kill(orphan, SIGKILL), 0);
}

}  // namespace
}  // namespace vanto::test

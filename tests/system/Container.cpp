// SPDX-License-Identifier: Apache-2.0
#include "system/Container.h"

#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace vanto::test {
namespace {

/// Keeps the numbers of this user and its group.
bool enterUsers() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << user + " " + user + " 1";
  std::ofstream("/proc/self/gid_map") << group + " " + group + " 1";
  return true;
}

int statusOf(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

bool canMakeContainer() {
  return statusOf([] { return makeContainer() ? statusOf([] { return mountOwnProc() ? 0 : 1; }) : 1; }) == 0;
}

bool makeContainer() {
  if (geteuid() != 0 && !enterUsers()) return false;
  return unshare(CLONE_NEWPID | CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mountOwnProc() {
  return mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0;
}

void runInside(const std::function<void()>& work) {
  EXPECT_EQ(statusOf([&work] {
              work();
              return ::testing::Test::HasFailure() ? 99 : 0;
            }),
            0);
}

}  // namespace vanto::test

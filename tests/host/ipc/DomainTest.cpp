// SPDX-License-Identifier: Apache-2.0
#include "ipc/Domain.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"

namespace vanto::test {
namespace {

/// A run-time directory in the environment, and nothing in it.
class DomainTest : public testing::Test {
 protected:
  DomainTest() { setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1); }
  ~DomainTest() override {
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("XDG_SESSION_ID");
  }
  [[nodiscard]] std::string path(const char* name) const { return directory_ / name; }
  void make(const char* name, mode_t mode) const {
    ASSERT_EQ(mkdir(path(name).c_str(), 0700), 0) << name;
    ASSERT_EQ(chmod(path(name).c_str(), mode), 0) << name;
  }
  [[nodiscard]] static std::string target(const Fd& descriptor) {
    char text[4096];
    const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(descriptor.get())).c_str(), text, sizeof text);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : "";
  }

  const TemporaryDirectory directory_;
};

TEST_F(DomainTest, MakesTheUsersDirectories) {
  EXPECT_FALSE(openDomain(Domain::User));
  const Fd made = openOrCreateUserDomain();
  ASSERT_TRUE(made);
  EXPECT_EQ(target(made), path("vanto/user"));
  for (const char* name : {"vanto", "vanto/user"}) {
    struct stat facts;
    ASSERT_EQ(lstat(path(name).c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode, S_IFDIR | 0700U) << name;
    EXPECT_EQ(facts.st_uid, geteuid());
  }
  EXPECT_EQ(target(openDomain(Domain::User)), path("vanto/user"));
  EXPECT_EQ(target(openOrCreateUserDomain()), path("vanto/user"));
}

TEST_F(DomainTest, CanBeLockedByThoseWhoBindInIt) {
  const Fd made = openOrCreateUserDomain();
  EXPECT_EQ(flock(made.get(), LOCK_EX), 0);
  // Clients only pass through, which needs no right to list.
  EXPECT_NE(fcntl(openDomain(Domain::User).get(), F_GETFL) & O_PATH, 0);
}

TEST_F(DomainTest, FindsTheSessionsDirectory) {
  EXPECT_FALSE(openDomain(Domain::Session));
  make("vanto", 0700);
  make("vanto/session-c2", 0700);
  EXPECT_FALSE(openDomain(Domain::Session));
  setenv("XDG_SESSION_ID", "c2", 1);
  EXPECT_EQ(target(openDomain(Domain::Session)), path("vanto/session-c2"));
  setenv("XDG_SESSION_ID", "c3", 1);
  EXPECT_FALSE(openDomain(Domain::Session));
}

TEST_F(DomainTest, ASessionsNameLeadsNowhereElse) {
  make("vanto", 0700);
  make("elsewhere", 0700);
  for (const char* session : {"/../../elsewhere", "..", "", "."}) {
    setenv("XDG_SESSION_ID", session, 1);
    EXPECT_FALSE(openDomain(Domain::Session)) << session;
  }
}

TEST_F(DomainTest, TakesNoDirectoryThatOthersHaveRightsOn) {
  make("vanto", 0700);
  for (const mode_t mode : {0750, 0701, 0777, 01777}) {
    make("vanto/user", mode);
    EXPECT_FALSE(openDomain(Domain::User)) << std::oct << mode;
    EXPECT_FALSE(openOrCreateUserDomain()) << std::oct << mode;
    EXPECT_EQ(errno, EACCES);
    ASSERT_EQ(rmdir(path("vanto/user").c_str()), 0);
  }
  ASSERT_EQ(chmod(path("vanto").c_str(), 0755), 0);
  EXPECT_FALSE(openOrCreateUserDomain());
}

TEST_F(DomainTest, FollowsNoSymbolicLink) {
  make("elsewhere", 0700);
  ASSERT_EQ(symlink(path("elsewhere").c_str(), path("vanto").c_str()), 0);
  EXPECT_FALSE(openOrCreateUserDomain());
  ASSERT_EQ(unlink(path("vanto").c_str()), 0);
  make("vanto", 0700);
  ASSERT_EQ(symlink(path("elsewhere").c_str(), path("vanto/user").c_str()), 0);
  EXPECT_FALSE(openOrCreateUserDomain());
  EXPECT_FALSE(openDomain(Domain::User));
}

TEST_F(DomainTest, TakesNoDirectoryOfSomebodyElse) {
  if (geteuid() != 0) {
    // Only root can give a directory away; everybody else has root's at hand.
    ASSERT_EQ(symlink("/", path("vanto").c_str()), 0);
    EXPECT_FALSE(openOrCreateUserDomain());
    return;
  }
  make("vanto", 0700);
  make("vanto/user", 0700);
  ASSERT_EQ(chown(path("vanto/user").c_str(), 12345, 12345), 0);
  EXPECT_FALSE(openDomain(Domain::User));
  EXPECT_FALSE(openOrCreateUserDomain());
}

TEST_F(DomainTest, TakesNoFileForADirectory) {
  make("vanto", 0700);
  const Fd file(open(path("vanto/user").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0700));
  ASSERT_TRUE(file);
  EXPECT_FALSE(openDomain(Domain::User));
  EXPECT_FALSE(openOrCreateUserDomain());
}

TEST_F(DomainTest, MakesTheDirectoryOfASessionForItsManager) {
  EXPECT_FALSE(openOrCreateDomain(Domain::Session));
  EXPECT_EQ(errno, EINVAL);
  setenv("XDG_SESSION_ID", "c2", 1);
  EXPECT_EQ(target(openOrCreateDomain(Domain::Session)), path("vanto/session-c2"));
  EXPECT_EQ(target(openOrCreateDomain(Domain::User)), path("vanto/user"));
}

TEST_F(DomainTest, KnowsWhetherTheNamedDirectoryCanBeUsed) {
  EXPECT_EQ(checkRuntimeDirectory(), 0);
  ASSERT_EQ(chmod(directory_.path().c_str(), 0770), 0);
  EXPECT_EQ(checkRuntimeDirectory(), EACCES);
  ASSERT_EQ(chmod(directory_.path().c_str(), 0700), 0);
  setenv("XDG_RUNTIME_DIR", "/nowhere/at/all", 1);
  EXPECT_EQ(checkRuntimeDirectory(), ENOENT);
  for (const char* unnamed : {"", "relative"}) {
    setenv("XDG_RUNTIME_DIR", unnamed, 1);
    EXPECT_EQ(checkRuntimeDirectory(), 0);
  }
}

}  // namespace
}  // namespace vanto::test

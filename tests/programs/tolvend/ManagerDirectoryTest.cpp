// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ManagerDirectory.h"

#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryDirectory.h"

namespace vanto::manager {
namespace {

using State = ManagerDirectory::State;

struct ManagerDirectoryTest : testing::Test {
  ManagerDirectoryTest() { setenv("XDG_RUNTIME_DIR", place.path().c_str(), 1); }
  ~ManagerDirectoryTest() override {
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("XDG_SESSION_ID");
  }
  const test::TemporaryDirectory place;
};

TEST_F(ManagerDirectoryTest, IsMadeAndTakenOnce) {
  const ManagerDirectory directory = takeDirectory(Domain::User);
  ASSERT_EQ(directory.state, State::Taken) << directory.error;
  struct stat facts;
  ASSERT_EQ(stat((place / "vanto/user/.tolvend").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0700U);
  std::int64_t waited = 0;
  const ManagerDirectory second = takeDirectory(Domain::User, [&](timespec time) { waited += time.tv_nsec; });
  EXPECT_EQ(waited, 1'000'000'000);
  EXPECT_EQ(second.state, State::InUse);
  EXPECT_EQ(second.error, "there is a manager of the user domain already");
}

TEST_F(ManagerDirectoryTest, IsFreeAgainWhenItsManagerIsGone) {
  { const ManagerDirectory directory = takeDirectory(Domain::User); }
  EXPECT_EQ(takeDirectory(Domain::User).state, State::Taken);
}

TEST_F(ManagerDirectoryTest, IsTakenWhenACopyOfTheLockGoesAway) {
  Fd copy;
  {
    const ManagerDirectory directory = takeDirectory(Domain::User);
    copy.reset(fcntl(directory.lock.get(), F_DUPFD_CLOEXEC, 0));
  }
  int pauses = 0;
  const ManagerDirectory second = takeDirectory(Domain::User, [&](timespec) {
    if (++pauses == 3) copy.reset();
  });
  EXPECT_EQ(second.state, State::Taken) << second.error;
  EXPECT_EQ(pauses, 3);
}

TEST_F(ManagerDirectoryTest, IsLostOnceItIsRemovedOrMoved) {
  const std::string own = place / "vanto/user/.tolvend";
  const std::string away = place / "away";
  ManagerDirectory directory = takeDirectory(Domain::User);
  EXPECT_FALSE(isLost(directory));
  std::filesystem::rename(place / "vanto/user", away);
  EXPECT_TRUE(isLost(directory));
  std::filesystem::create_directory(place / "vanto/user");
  EXPECT_TRUE(isLost(directory)) << "another one";
  std::filesystem::remove(place / "vanto/user");
  std::filesystem::create_directory_symlink(away, place / "vanto/user");
  EXPECT_FALSE(isLost(directory));
  std::filesystem::remove_all(own);
  EXPECT_TRUE(isLost(directory));
  std::filesystem::remove_all(away);
  EXPECT_TRUE(isLost(directory));
}

TEST_F(ManagerDirectoryTest, OfASessionNeedsOne) {
  EXPECT_EQ(takeDirectory(Domain::Session).error, "there is no session; set XDG_SESSION_ID, or use --domain user");
  setenv("XDG_SESSION_ID", "c1", 1);
  EXPECT_EQ(takeDirectory(Domain::Session).state, State::Taken);
  EXPECT_TRUE(std::filesystem::is_directory(place / "vanto/session-c1/.tolvend"));
  EXPECT_EQ(takeDirectory(Domain::User).state, State::Taken);
}

TEST_F(ManagerDirectoryTest, IsNotTakenThroughLinksOrFromOthers) {
  std::filesystem::create_directories(place / "elsewhere");
  ASSERT_EQ(chmod((place / "elsewhere").c_str(), 0700), 0);
  std::filesystem::create_directories(place / "vanto/user");
  for (const char* path : {"vanto", "vanto/user"}) ASSERT_EQ(chmod((place / path).c_str(), 0700), 0);
  std::filesystem::create_directory_symlink(place / "elsewhere", place / "vanto/user/.tolvend");
  EXPECT_EQ(takeDirectory(Domain::User).error,
            "the manager's directory .tolvend cannot be used: it leads through a symbolic link, or is no directory");
  std::filesystem::remove(place / "vanto/user/.tolvend");
  std::filesystem::create_directory(place / "vanto/user/.tolvend");
  ASSERT_EQ(chmod((place / "vanto/user/.tolvend").c_str(), 0750), 0);
  EXPECT_EQ(takeDirectory(Domain::User).error,
            "the manager's directory .tolvend cannot be used: it is not this user's, or others may change it");
  ASSERT_EQ(chmod(place.path().c_str(), 0777), 0);
  EXPECT_EQ(takeDirectory(Domain::User).state, State::Unusable);
  setenv("XDG_RUNTIME_DIR", "/nowhere/at/all", 1);
  EXPECT_EQ(takeDirectory(Domain::User).error,
            "XDG_RUNTIME_DIR, /nowhere/at/all, cannot be used: No such file or directory (error 2)");
}

}  // namespace
}  // namespace vanto::manager

// SPDX-License-Identifier: Apache-2.0
#include "ipc/PublishedSocket.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::test {
namespace {

using Access = PublishedSocket::Access;
using Rival = PublishedSocket::Rival;

struct PublishedSocketTest : ::testing::Test {
  [[nodiscard]] Fd place() const { return Fd(open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); }
  [[nodiscard]] Fd connectTo(const char* file) const { return connectToSocket(place().get(), file, UINT64_MAX); }
  [[nodiscard]] mode_t modeOf(const char* file) const {
    struct stat facts;
    return lstat((directory / file).c_str(), &facts) == 0 ? facts.st_mode & 07777 : 0;
  }
  const TemporaryDirectory directory;
};

TEST_F(PublishedSocketTest, IsThereForItsOwnerOrForEverybody) {
  const mode_t mask = umask(077);
  PublishedSocket own;
  ASSERT_EQ(own.open(place(), "own"), VANTO_ERROR_NONE);
  PublishedSocket all;
  ASSERT_EQ(all.open(place(), "all", Access::Everybody), VANTO_ERROR_NONE);
  umask(mask);
  EXPECT_EQ(modeOf("own"), 01600U);
  EXPECT_EQ(modeOf("all"), 01666U);
  EXPECT_TRUE(connectTo("own"));
  EXPECT_TRUE(connectTo("all"));
}

TEST_F(PublishedSocketTest, RespectsARivalUnlessItShallReplaceIt) {
  PublishedSocket rival;
  ASSERT_EQ(rival.open(place(), "name"), VANTO_ERROR_NONE);
  PublishedSocket socket;
  EXPECT_EQ(socket.open(place(), "name"), VANTO_ERROR_IN_USE);
  EXPECT_TRUE(rival.isPublished());
  EXPECT_FALSE(socket.isPublished());
  EXPECT_EQ(socket.open(place(), "name", Access::Owner, Rival::Replace), VANTO_ERROR_NONE);
  EXPECT_FALSE(rival.isPublished());
  EXPECT_TRUE(socket.isPublished());
  // What is not its own it does not remove.
  rival.close();
  EXPECT_TRUE(connectTo("name"));
  socket.close();
  EXPECT_FALSE(connectTo("name"));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(PublishedSocketTest, TakesThePlaceOfOneThatNobodyServes) {
  {
    PublishedSocket left;
    ASSERT_EQ(left.open(place(), "left"), VANTO_ERROR_NONE);
    std::filesystem::rename(directory / "left", directory / "name");
  }
  EXPECT_FALSE(connectTo("name"));
  EXPECT_EQ(errno, ECONNREFUSED);
  PublishedSocket socket;
  EXPECT_EQ(socket.open(place(), "name"), VANTO_ERROR_NONE);
  EXPECT_TRUE(connectTo("name"));
}

TEST_F(PublishedSocketTest, LeavesAloneWhatIsNoSocket) {
  std::ofstream(directory / "file") << "text";
  std::filesystem::create_symlink(directory / "file", directory / "link");
  std::filesystem::create_directory(directory / "folder");
  for (const char* name : {"file", "link", "folder"}) {
    const mode_t mode = modeOf(name);
    for (const Rival rival : {Rival::Respect, Rival::Replace}) {
      PublishedSocket socket;
      EXPECT_EQ(socket.open(place(), name, Access::Owner, rival), VANTO_ERROR_SYSTEM) << name;
      EXPECT_EQ(errno, ENOTSOCK) << name;
    }
    EXPECT_EQ(modeOf(name), mode);
  }
  EXPECT_EQ(std::filesystem::file_size(directory / "file"), 4U);
  EXPECT_TRUE(std::filesystem::is_symlink(directory / "link"));
}

TEST_F(PublishedSocketTest, WaitsForNobodyWhoKeepsItsDirectoryLocked) {
  // For a call that does not come back.
  alarm(20);
  const Fd holder = place();
  ASSERT_EQ(flock(holder.get(), LOCK_EX), 0);
  PublishedSocket own;
  EXPECT_EQ(own.open(place(), "own"), VANTO_ERROR_SYSTEM);
  EXPECT_EQ(errno, EWOULDBLOCK);
  const Fd directoryInCharge = place();
  PublishedSocket shared;
  EXPECT_EQ(shared.openShared(directoryInCharge.get(), "shared", Access::Everybody, Rival::Respect), VANTO_ERROR_NONE);
  EXPECT_TRUE(connectTo("shared"));
  shared.close();
  EXPECT_FALSE(connectTo("shared"));
  ASSERT_EQ(flock(holder.get(), LOCK_UN), 0);
  ASSERT_EQ(own.open(place(), "own"), VANTO_ERROR_NONE);
  ASSERT_EQ(flock(holder.get(), LOCK_EX), 0);
  own.close();
  alarm(0);
}

TEST_F(PublishedSocketTest, TakesWantOfDescriptorsForNoRival) {
  const testing::ChildOutcome outcome = testing::runInChild([this](const testing::ChildReport&) {
    const Fd directoryInCharge = place();
    const int next = dup(0);
    ASSERT_GE(next, 0);
    close(next);
    // For the socket, and not for looking at the name.
    const rlimit limit{static_cast<rlim_t>(next) + 1, static_cast<rlim_t>(next) + 1};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    PublishedSocket socket;
    EXPECT_EQ(socket.openShared(directoryInCharge.get(), "name", Access::Owner, Rival::Respect), VANTO_ERROR_SYSTEM);
    EXPECT_EQ(errno, EMFILE);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST_F(PublishedSocketTest, SaysThatThereIsNoPlace) {
  PublishedSocket socket;
  EXPECT_EQ(socket.open(Fd(), "name"), VANTO_ERROR_SYSTEM);
  EXPECT_EQ(socket.open(place(), "no/name"), VANTO_ERROR_SYSTEM);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

}  // namespace
}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileFile.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

class ProfileFileTest : public ::testing::Test {
 protected:
  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "p.sb";
};

TEST_F(ProfileFileTest, IsRead) {
  std::ofstream(path_) << "network none\n";
  const ProfileFile file = readProfileFile(path_.c_str());
  EXPECT_EQ(file.error, "");
  EXPECT_EQ(file.text, "network none\n");
}

TEST_F(ProfileFileTest, MayBeEmptyOrALink) {
  std::ofstream{path_};
  EXPECT_EQ(readProfileFile(path_.c_str()).error, "");
  ASSERT_EQ(symlink("p.sb", (directory_ / "link.sb").c_str()), 0);
  EXPECT_EQ(readProfileFile((directory_ / "link.sb").c_str()).error, "");
}

TEST_F(ProfileFileTest, HasALimit) {
  std::ofstream(path_) << std::string(limits::profileBytes, '#');
  EXPECT_EQ(readProfileFile(path_.c_str()).text.size(), limits::profileBytes);
  std::ofstream(path_, std::ios::app) << '#';
  const ProfileFile file = readProfileFile(path_.c_str());
  EXPECT_EQ(file.error, "the file is larger than 1 MiB; make the profile shorter");
  EXPECT_EQ(file.text, "");
}

TEST_F(ProfileFileTest, IsRefusedWhenItIsNoRegularFile) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(readProfileFile(path_.c_str()).error, "it is no regular file; a profile is one");
  EXPECT_EQ(readProfileFile(directory_.path().c_str()).error, "it is no regular file; a profile is one");
  EXPECT_EQ(readProfileFile("/dev/zero").error, "it is no regular file; a profile is one");
}

TEST_F(ProfileFileTest, IsRefusedWhenItCannotBeOpened) {
  EXPECT_EQ(readProfileFile(path_.c_str()).error,
            "cannot open it: No such file or directory; let the service read it, and search the directories above it");
}

TEST_F(ProfileFileTest, IsRefusedWhenItsSizeIsNotWhatItHolds) {
  // Files of /proc say 0, as one that has grown since does.
  EXPECT_EQ(readProfileFile("/proc/self/status").error, "it has changed while it was read; try again");
}

TEST_F(ProfileFileTest, IsRefusedWhenItIsWrittenMeanwhile) {
  constexpr std::size_t size = std::size_t{512} << 10;
  std::ofstream(path_) << std::string(size, 'a');
  std::atomic<bool> isOver{false};
  {
    const std::jthread writer([&] {
      const int file = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
      for (char letter = 'b'; !isOver; letter = letter == 'b' ? 'a' : 'b') {
        const std::string content(size, letter);
        if (pwrite(file, content.data(), size, 0) != static_cast<ssize_t>(size)) break;
      }
      close(file);
    });
    // Until a look falls into a write.
    bool isRefused = false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!isRefused && std::chrono::steady_clock::now() < end) {
      isRefused = readProfileFile(path_.c_str()).error == "it has changed while it was read; try again";
    }
    isOver = true;
    EXPECT_TRUE(isRefused);
  }
}

}  // namespace
}  // namespace vanto::testing

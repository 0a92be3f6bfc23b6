// SPDX-License-Identifier: Apache-2.0
#include "vanto/ReplacedFile.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>

#include "support/Child.h"
#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::tool {
namespace {

class ReplacedFile : public ::testing::Test {
 protected:
  static void write(const std::string& path, const std::string& contents) { std::ofstream(path) << contents; }
  static std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
  [[nodiscard]] std::size_t countOfFiles() const {
    const std::filesystem::directory_iterator files(directory_.path());
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "file";
};

TEST_F(ReplacedFile, IsMadeWithTheUsualPermissions) {
  const mode_t mask = umask(027);
  EXPECT_EQ(replaceFile(path_, "new"), "");
  umask(mask);
  EXPECT_EQ(contentsOf(path_), "new");
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(countOfFiles(), 1U);
}

TEST_F(ReplacedFile, KeepsItsPermissions) {
  write(path_, "old");
  ASSERT_EQ(chmod(path_.c_str(), 0604), 0);
  EXPECT_EQ(replaceFile(path_, "new"), "");
  EXPECT_EQ(contentsOf(path_), "new");
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604U);
  EXPECT_EQ(countOfFiles(), 1U);
}

TEST_F(ReplacedFile, IsAnotherFileSoThatWhoReadsTheOldOneGoesOn) {
  write(path_, "old");
  std::ifstream reader(path_);
  EXPECT_EQ(replaceFile(path_, "new"), "");
  std::string text;
  reader >> text;
  EXPECT_EQ(text, "old");
}

TEST_F(ReplacedFile, LeavesASymbolicLinkInPlace) {
  write(path_, "old");
  std::filesystem::create_symlink("file", directory_ / "link");
  EXPECT_EQ(replaceFile(directory_ / "link", "new"), "");
  EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "link"));
  EXPECT_EQ(contentsOf(path_), "new");
}

TEST_F(ReplacedFile, MayBeRelativeToTheWorkingDirectory) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  EXPECT_EQ(replaceFile("file", "new"), "");
  std::filesystem::current_path(before);
  EXPECT_EQ(contentsOf(path_), "new");
}

TEST_F(ReplacedFile, IsNoDirectoryAndNoDevice) {
  EXPECT_EQ(replaceFile(directory_.path(), "x"),
            directory_.path() + ": is no regular file; to write to a pipe, use - and >");
  EXPECT_NE(replaceFile("/dev/null", "x"), "");
}

TEST_F(ReplacedFile, TellsOfADirectoryThatDoesNotExist) {
  EXPECT_EQ(replaceFile(directory_ / "none/file", "x"),
            directory_.path() + "/none/file: cannot be written: No such file or directory");
}

TEST_F(ReplacedFile, TakesAwayWhatAKilledProcessLeft) {
  write(directory_ / ".file.vanto-new", "left");
  EXPECT_EQ(replaceFile(path_, "new"), "");
  EXPECT_EQ(contentsOf(path_), "new");
  EXPECT_EQ(countOfFiles(), 1U);
}

TEST_F(ReplacedFile, StaysAsItWasWhenThereIsNoRoom) {
  write(path_, "old");
  const testing::ChildOutcome outcome = testing::runInChild([&](const testing::ChildReport& report) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    report(replaceFile(path_, std::string(2000, 'x')));
  });
  EXPECT_EQ(outcome.lines,
            std::vector<std::string>{path_ + ": cannot be written: File too large; the old file is as it was"});
  EXPECT_EQ(contentsOf(path_), "old");
  EXPECT_EQ(countOfFiles(), 1U);
}

TEST_F(ReplacedFile, IsThatOfOneOfManyWhoWriteAtOnce) {
  write(path_, "old");
  const auto writeOften = [this](char letter) {
    for (int count = 0; count < 100; ++count) EXPECT_EQ(replaceFile(path_, std::string(5000, letter)), "");
  };
  {
    const std::jthread one(writeOften, 'a');
    const std::jthread other(writeOften, 'b');
  }
  const std::string contents = contentsOf(path_);
  EXPECT_TRUE(contents == std::string(5000, 'a') || contents == std::string(5000, 'b')) << contents;
  EXPECT_EQ(countOfFiles(), 1U);
}

TEST_F(ReplacedFile, IsWrittenWithThePermissionsThatAreAskedFor) {
  write(path_, "old");
  chmod(path_.c_str(), 0644);
  EXPECT_EQ(writeFile(path_, "new", 0600, Existing::Replaced), "");
  EXPECT_EQ(contentsOf(path_), "new");
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(ReplacedFile, IsKeptWhereItMayNotBeReplaced) {
  EXPECT_EQ(writeFile(path_, "first", 0600, Existing::Kept), "");
  EXPECT_EQ(writeFile(path_, "second", 0600, Existing::Kept), path_ + ": exists already");
  EXPECT_EQ(contentsOf(path_), "first");
  EXPECT_EQ(countOfFiles(), 1U);
}

TEST_F(ReplacedFile, IsMadeWhateverStandsInTheWayOfATemporaryName) {
  std::filesystem::create_directories(directory_ / ".file.vanto-new/full");
  EXPECT_EQ(writeFile(path_, "new", 0600, Existing::Kept), "");
  EXPECT_EQ(contentsOf(path_), "new");
  EXPECT_EQ(writeFile(path_, "other", 0600, Existing::Kept), path_ + ": exists already");
  EXPECT_EQ(contentsOf(path_), "new");
}

TEST_F(ReplacedFile, IsWrittenIntoTheDirectoryThatIsOpenWhateverHasItsNameNow) {
  const std::string place = directory_ / "place";
  const std::string elsewhere = directory_ / "elsewhere";
  std::filesystem::create_directory(place);
  std::filesystem::create_directory(elsewhere);
  const Fd opened(open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::filesystem::rename(place, directory_ / "old");
  std::filesystem::create_symlink(elsewhere, place);
  EXPECT_EQ(replaceFileIn(opened.get(), "file", "new", place + "/file"), "");
  EXPECT_EQ(contentsOf(directory_ / "old/file"), "new");
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
}

TEST_F(ReplacedFile, IsNotBehindALinkInADirectoryThatIsOpen) {
  write(path_, "victim");
  std::filesystem::create_symlink(path_, directory_ / "link");
  const Fd opened(open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_EQ(replaceFileIn(opened.get(), "link", "new", "the\nlink"), "the\\nlink: is no regular file");
  // One that comes between the look and the writing is replaced itself.
  std::atomic<bool> isOver = false;
  std::thread attacker([&] {
    while (!isOver) {
      std::error_code ignored;
      std::filesystem::remove(directory_ / "signature", ignored);
      std::filesystem::create_symlink(path_, directory_ / "signature", ignored);
      write(directory_ / "regular", "x");
      std::filesystem::rename(directory_ / "regular", directory_ / "signature", ignored);
    }
  });
  int done = 0;
  for (int tries = 0; done < 50 && tries < 1'000'000; ++tries) {
    done += replaceFileIn(opened.get(), "signature", "new", "s").empty() ? 1 : 0;
  }
  isOver = true;
  attacker.join();
  EXPECT_EQ(done, 50);
  EXPECT_EQ(contentsOf(path_), "victim");
}

TEST_F(ReplacedFile, KeepsTheUsualPermissionsInADirectoryThatIsOpen) {
  write(path_, "old");
  ASSERT_EQ(chmod(path_.c_str(), 04604), 0);
  const Fd opened(open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_EQ(replaceFileIn(opened.get(), "file", "new", path_), "");
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604U);
  EXPECT_EQ(countOfFiles(), 1U);
}

}  // namespace
}  // namespace vanto::tool

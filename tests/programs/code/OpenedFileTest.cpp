// SPDX-License-Identifier: Apache-2.0
#include "code/OpenedFile.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

class OpenedFileTest : public ::testing::Test {
 protected:
  [[nodiscard]] OpenedFile opened(const FileRules& rules, FileLinks links = FileLinks::Refused) const {
    return OpenedFile::open(AT_FDCWD, path_.c_str(), links, rules);
  }

  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "file";
};

TEST_F(OpenedFileTest, IsReadUpToItsLimitAndNotBeyond) {
  testing::writeContents(path_, std::string(1000, 'x'));
  EXPECT_EQ(opened({1000, 0, {}}).contents, std::string(1000, 'x'));
  EXPECT_EQ(opened({999, 0, {}}).problem, "is larger than 999 bytes");
  EXPECT_FALSE(opened({999, 0, {}}).contents);
  // The size of such files is told as 0.
  EXPECT_EQ(OpenedFile::open(AT_FDCWD, "/proc/self/maps", FileLinks::Refused, {10, 0, {}}).problem,
            "is larger than 10 bytes");
}

TEST_F(OpenedFileTest, MustBelongToOneOfItsOwners) {
  testing::writeContents(path_, "x");
  EXPECT_TRUE(opened({10, 0, {geteuid() + 1, geteuid()}}).contents);
  EXPECT_EQ(opened({10, 0, {geteuid() + 1}}).problem, "belongs to user " + std::to_string(geteuid()));
}

TEST_F(OpenedFileTest, MustNotHaveForbiddenPermissions) {
  testing::writeContents(path_, "x");
  chmod(path_.c_str(), 0664);
  EXPECT_EQ(opened({10, 022, {}}).problem, "can be written by others; chmod go-w takes that away");
  EXPECT_EQ(opened({10, 077, {}}).problem, "can be read by others; chmod go= takes that away");
  chmod(path_.c_str(), 0644);
  EXPECT_TRUE(opened({10, 022, {}}).contents);
}

TEST_F(OpenedFileTest, MustBeARegularFile) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(opened({10, 0, {}}).problem, "is no regular file");
  unlink(path_.c_str());
  ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
  EXPECT_EQ(opened({10, 0, {}}).problem, "is no regular file");
  EXPECT_EQ(OpenedFile::open(AT_FDCWD, "/dev/null", FileLinks::Refused, {10, 0, {}}).problem, "is no regular file");
}

TEST_F(OpenedFileTest, TellsALinkAndWhatIsMissing) {
  EXPECT_TRUE(opened({10, 0, {}}).isMissing);
  EXPECT_EQ(opened({10, 0, {}}).problem, "does not exist");
  testing::writeContents(directory_ / "target", "x");
  ASSERT_EQ(symlink("target", path_.c_str()), 0);
  EXPECT_EQ(opened({10, 0, {}}).problem, "is a symbolic link");
  EXPECT_EQ(opened({10, 0, {}}, FileLinks::Followed).contents, "x");
}

TEST_F(OpenedFileTest, LiesBeneathItsDirectoryWithoutLinks) {
  std::filesystem::create_directories(directory_ / "a/b");
  testing::writeContents(directory_ / "a/b/c", "x");
  std::filesystem::create_directory_symlink("a", directory_ / "link");
  std::filesystem::create_symlink("c", directory_ / "a/b/d");
  const Fd root(open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_TRUE(openBeneath(root.get(), "a/b/c", O_RDONLY));
  EXPECT_TRUE(openBeneath(root.get(), "a/b", O_RDONLY | O_DIRECTORY));
  const std::pair<const char*, int> refused[] = {{"link/b/c", ENOTDIR}, {"a/b/d", ELOOP},   {"a/../a/b/c", EINVAL},
                                                 {"a//b/c", EINVAL},    {"/a/b/c", EINVAL}, {"", EINVAL},
                                                 {"./a", EINVAL},       {"a/b/e", ENOENT}};
  for (const auto& [path, error] : refused) {
    EXPECT_FALSE(openBeneath(root.get(), path, O_RDONLY)) << path;
    EXPECT_EQ(errno, error) << path;
  }
  EXPECT_FALSE(openBeneath(root.get(), std::string(256, 'x'), O_RDONLY));
}

}  // namespace
}  // namespace vanto::code

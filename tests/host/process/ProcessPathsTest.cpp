// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/process/RunProgram.h"
#include "support/TemporaryDirectory.h"
#include "value/platform/process.h"

namespace {

namespace fs = std::filesystem;
using vanto::Ref;
using vanto::test::TemporaryDirectory;

std::string text(const PlistString* string) {
  return string != nullptr ? std::string(string->text()) : "(null)";
}

/// What the child program prints when a copy of it at `path` is executed by way of `link`.
std::string runCopy(const std::string& path, const std::string& link) {
  fs::copy_file(EXECUTABLE_PATH_CHILD, path);
  fs::create_symlink(path, link);
  return vanto::testing::runProgram(link, {link});
}

TEST(ExecutablePath, IsThatOfThisProgram) {
  EXPECT_EQ(text(vanto_process_executable_path()), fs::read_symlink("/proc/self/exe").string());
}

TEST(ExecutablePath, IsResolvedAndNoneOnceTheFileIsGoneOrReplaced) {
  const TemporaryDirectory directory;
  EXPECT_EQ(runCopy(directory / "program", directory / "link"), (directory / "program") + "\nnone\nnone\n");
}

TEST(ExecutablePath, MayEndLikeThatOfADeletedFile) {
  const TemporaryDirectory directory;
  const std::string path = directory / "program (deleted)";
  EXPECT_EQ(runCopy(path, directory / "link"), path + "\nnone\nnone\n");
}

TEST(ExecutablePath, MayBeLong) {
  const TemporaryDirectory directory;
  std::string path = directory.path();
  while (path.size() < 1'500) fs::create_directory(path += "/" + std::string(200, 'd'));
  path += "/program";
  EXPECT_EQ(runCopy(path, directory / "link"), path + "\nnone\nnone\n");
}

TEST(HomeDirectory, IsThatOfThePasswordEntry) {
  const passwd* const entry = getpwuid(geteuid());
  ASSERT_NE(entry, nullptr);
  const std::string expected = entry->pw_dir;
  setenv("HOME", "/nowhere", 1);
  EXPECT_EQ(text(QelHomeDirectory()), expected);
}

TEST(HomeDirectory, IsNoneForAUserWithoutAnEntry) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t nobodyKnown = 1'234'567'891;
    _exit(seteuid(nobodyKnown) == 0 && QelHomeDirectory() == nullptr ? 0 : 1);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

class RealPath : public testing::Test {
 protected:
  std::string realPath(std::string_view path) {
    const Ref<PlistString> string = PlistString::create(path);
    return text(PellmoUtilRealPathForPath(string.get(), &error_));
  }

  const TemporaryDirectory directory_;
  int error_ = -1;
};

TEST_F(RealPath, HasNoSymbolicLinks) {
  fs::create_directory(directory_ / "target");
  fs::create_symlink("target", directory_ / "link");
  EXPECT_EQ(realPath(directory_ / "link/../link/."), directory_ / "target");
  EXPECT_EQ(error_, -1);
}

TEST_F(RealPath, IsNoneForAMissingFile) {
  EXPECT_EQ(realPath(directory_ / "missing"), "(null)");
  EXPECT_EQ(error_, ENOENT);
  EXPECT_EQ(realPath(""), "(null)");
  EXPECT_EQ(error_, ENOENT);
}

TEST_F(RealPath, IsNoneForALinkToItself) {
  fs::create_symlink("loop", directory_ / "loop");
  EXPECT_EQ(realPath(directory_ / "loop"), "(null)");
  EXPECT_EQ(error_, ELOOP);
}

TEST_F(RealPath, IsNoneForATextWithNul) {
  EXPECT_EQ(realPath(std::string_view("/\0x", 3)), "(null)");
  EXPECT_EQ(error_, EINVAL);
  EXPECT_EQ(PellmoUtilRealPathForPath(nullptr, nullptr), nullptr);
}

TEST_F(RealPath, IsNoneWhereItIsNoText) {
  fs::create_directory(directory_ / "\xff");
  fs::create_symlink("\xff", directory_ / "link");
  EXPECT_EQ(realPath(directory_ / "link"), "(null)");
  EXPECT_EQ(error_, EILSEQ);
}

}  // namespace

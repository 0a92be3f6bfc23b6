// SPDX-License-Identifier: Apache-2.0
#include "code/TrustDirectory.h"

#include <cstdlib>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "code/limits.h"
#include "programs/code/SignedCode.h"
#include "support/Child.h"

namespace vanto::code {
namespace {

using Texts = std::vector<std::string>;

class TrustDirectoryTest : public ::testing::Test {
 protected:
  TrustDirectoryTest() { mkdir(path_.c_str(), 0700); }

  void write(const std::string& name, const std::string& bytes = "x") const {
    testing::writeContents(path_ + "/" + name, bytes);
    chmod((path_ + "/" + name).c_str(), 0644);
  }
  [[nodiscard]] TrustDirectory read(TrustOwner owner = TrustOwner::User) const {
    return TrustDirectory::read(path_, owner);
  }
  /// The names of the keys.
  [[nodiscard]] Texts keys() const {
    Texts names;
    for (const TrustDirectory::File& file : read().keys) names.push_back(file.name);
    return names;
  }
  /// What is wrong with the directory as a whole.
  [[nodiscard]] std::string refusal(TrustOwner owner = TrustOwner::User) const {
    const TrustDirectory directory = read(owner);
    EXPECT_FALSE(directory.isUsable);
    EXPECT_EQ(directory.problems.size(), 1U);
    EXPECT_EQ(directory.doubt, "");
    return directory.problems.empty() ? "" : directory.problems.front().substr(path_.size());
  }
  /// Why it is not known what the directory revokes.
  [[nodiscard]] std::string doubt(TrustOwner owner = TrustOwner::User) const {
    const TrustDirectory directory = read(owner);
    EXPECT_FALSE(directory.isUsable);
    EXPECT_EQ(directory.problems, Texts{});
    EXPECT_FALSE(directory.revocations);
    return directory.doubt;
  }

  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "trust";
};

TEST_F(TrustDirectoryTest, HasTheFilesWithTheExtension) {
  write("b.plist", "B");
  write("a.plist", "A");
  write("revoked.plist", "R");
  write("readme");
  write(".a.plist.vanto-new");
  write(".c.plist");
  const TrustDirectory directory = read();
  EXPECT_TRUE(directory.isUsable);
  EXPECT_EQ(directory.problems, Texts{});
  EXPECT_EQ(keys(), (Texts{"a", "b"}));
  EXPECT_EQ(directory.keys[0].bytes, "A");
  EXPECT_EQ(directory.revocations, "R");
}

TEST_F(TrustDirectoryTest, IsEmptyWhereThereIsNone) {
  const TrustDirectory directory = TrustDirectory::read(directory_ / "none", TrustOwner::User);
  EXPECT_TRUE(directory.isUsable);
  EXPECT_TRUE(directory.keys.empty());
  EXPECT_TRUE(directory.problems.empty());
}

TEST_F(TrustDirectoryTest, OfAUserIsForThatUserAlone) {
  write("a.plist");
  write("revoked.plist", "R");
  for (const mode_t mode : {0750U, 0701U, 0755U}) {
    chmod(path_.c_str(), mode);
    EXPECT_EQ(refusal(), ": is not for its owner alone; chmod 700 makes it so; nothing in it is trusted") << mode;
    EXPECT_TRUE(keys().empty());
    EXPECT_EQ(read().revocations, "R");
  }
  chmod(path_.c_str(), 0770);
  EXPECT_EQ(doubt(), "can be written by others; chmod go-w takes that away");
}

TEST_F(TrustDirectoryTest, OfTheMachineCanBeReadByAllAndWrittenByRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to have files of others";
  chmod(path_.c_str(), 0775);
  for (const TrustOwner owner : {TrustOwner::Administrator, TrustOwner::Either}) {
    EXPECT_EQ(doubt(owner), "can be written by others; chmod go-w takes that away");
  }
  chmod(path_.c_str(), 0755);
  EXPECT_TRUE(read(TrustOwner::Either).isUsable);
  EXPECT_TRUE(read(TrustOwner::Administrator).isUsable);
  ASSERT_EQ(chown(path_.c_str(), 65534, 65534), 0);
  for (const TrustOwner owner : {TrustOwner::Administrator, TrustOwner::Either}) {
    EXPECT_EQ(doubt(owner), "belongs to user 65534");
  }
}

TEST_F(TrustDirectoryTest, IsNoLinkAndNoFile) {
  std::filesystem::create_directory_symlink("trust", directory_ / "link");
  testing::writeContents(directory_ / "file", "x");
  for (const char* name : {"link", "file", "file/trust"}) {
    const TrustDirectory directory = TrustDirectory::read(directory_ / name, TrustOwner::User);
    EXPECT_FALSE(directory.isUsable) << name;
    EXPECT_EQ(directory.doubt, "is no directory, or a symbolic link") << name;
  }
}

TEST_F(TrustDirectoryTest, LeavesOutEachBadFile) {
  write("good.plist");
  write("writable.plist");
  chmod((path_ + "/writable.plist").c_str(), 0664);
  write("large.plist", std::string(limits::keyFileBytes + 1, 'x'));
  write("largest.plist", std::string(limits::keyFileBytes, 'x'));
  std::filesystem::create_symlink("good.plist", path_ + "/link.plist");
  ASSERT_EQ(mkfifo((path_ + "/fifo.plist").c_str(), 0600), 0);
  mkdir((path_ + "/directory.plist").c_str(), 0700);
  write("-dash.plist");
  EXPECT_EQ(keys(), (Texts{"good", "largest"}));
  EXPECT_TRUE(read().isUsable);
  EXPECT_EQ(read().problems,
            (Texts{path_ + "/-dash.plist: has no name for a key", path_ + "/directory.plist: is no regular file",
                   path_ + "/fifo.plist: is no regular file", path_ + "/large.plist: is larger than 16384 bytes",
                   path_ + "/link.plist: is a symbolic link",
                   path_ + "/writable.plist: can be written by others; chmod go-w takes that away"}));
}

TEST_F(TrustDirectoryTest, IsDoubtedWithABadFileOfRevocations) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to have files of others";
  write("good.plist");
  write("revoked.plist");
  const std::string path = path_ + "/revoked.plist";
  for (const mode_t mode : {0664U, 0646U}) {
    chmod(path.c_str(), mode);
    EXPECT_EQ(doubt(), "revoked.plist can be written by others; chmod go-w takes that away") << mode;
  }
  write("revoked.plist", std::string(limits::revocationFileBytes + 1, 'x'));
  EXPECT_EQ(doubt(), "revoked.plist is larger than 1048576 bytes");
  write("revoked.plist", std::string(limits::revocationFileBytes, 'x'));
  EXPECT_EQ(read().doubt, "");
  ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
  EXPECT_EQ(doubt(), "revoked.plist belongs to user 65534");
  unlink(path.c_str());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(doubt(), "revoked.plist is no regular file");
  unlink(path.c_str());
  std::filesystem::create_symlink("none", path);
  EXPECT_EQ(doubt(), "revoked.plist is a symbolic link");
  unlink(path.c_str());
  mkdir(path.c_str(), 0700);
  EXPECT_EQ(doubt(), "revoked.plist is no regular file");
}

TEST_F(TrustDirectoryTest, IsDoubtedWhereItMayNotBeRead) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to be somebody else";
  write("revoked.plist");
  const auto outcome = testing::runInChild([this](const testing::ChildReport& report) {
    if (setgid(65534) != 0 || setuid(65534) != 0) return report("still root");
    report(TrustDirectory::read(path_, TrustOwner::Either).doubt);
  });
  EXPECT_EQ(outcome.lines, (Texts{"Permission denied"}));
}

TEST_F(TrustDirectoryTest, HasSoManyEntriesAtMost) {
  // Two of them are the directory and the one above.
  for (std::size_t count = 2; count < limits::trustEntries; ++count) write(std::to_string(count), "");
  EXPECT_TRUE(read().isUsable);
  write("revoked.plist", "R");
  EXPECT_EQ(refusal(), ": has more than 1024 entries; nothing in it is trusted");
  EXPECT_EQ(read().revocations, "R");
}

TEST_F(TrustDirectoryTest, OfTheUserFollowsFromTheEnvironment) {
  const auto outcome = testing::runInChild([](const testing::ChildReport& report) {
    setenv("XDG_CONFIG_HOME", "/x", 1);
    setenv("HOME", "/h", 1);
    report(TrustDirectory::userPath());
    setenv("XDG_CONFIG_HOME", "relative", 1);
    report(TrustDirectory::userPath());
    unsetenv("HOME");
    report("[" + TrustDirectory::userPath() + "]");
    report(TrustDirectory::systemPath());
  });
  EXPECT_EQ(outcome.lines, (Texts{"/x/vanto/trust", "/h/.config/vanto/trust", "[]", "/etc/vanto/trust"}));
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::code

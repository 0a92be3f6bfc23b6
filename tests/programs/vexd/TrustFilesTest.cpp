// SPDX-License-Identifier: Apache-2.0
#include "vexd/TrustFiles.h"

#include <filesystem>

#include "programs/vexd/VexdFixture.h"

namespace vanto::testing {
namespace {

using vexd::TrustFiles;

class TrustFilesTest : public ::testing::Test {
 protected:
  TrustFilesTest() {
    std::filesystem::create_directory(path_);
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    writeContents(file_, keyFile("acme", keyPair(1)).bytes);
  }

  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "trust";
  const std::string file_ = path_ + "/acme.plist";
  TrustFiles files_{{{path_, code::TrustOwner::User}, {directory_ / "missing", code::TrustOwner::User}}};
};

TEST_F(TrustFilesTest, ReadsTheDirectories) {
  const auto& directories = files_.directories();
  ASSERT_EQ(directories.size(), 2U);
  ASSERT_EQ(directories[0].keys.size(), 1U);
  EXPECT_EQ(directories[0].keys[0].name, "acme");
  EXPECT_TRUE(directories[1].keys.empty());
}

TEST_F(TrustFilesTest, ReadsThemAgainOnlyWhenSomethingChanged) {
  static_cast<void>(files_.directories());
  static_cast<void>(files_.directories());
  EXPECT_EQ(files_.generation(), 1U);
  // Too young to be relied upon, so that it is read each time.
  writeContents(file_, "changed at once");
  EXPECT_EQ(files_.directories()[0].keys[0].bytes, "changed at once");
  EXPECT_EQ(files_.generation(), 2U);
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  static_cast<void>(files_.directories());
  EXPECT_EQ(files_.generation(), 2U);
  settle(path_);
  static_cast<void>(files_.directories());
  const std::uint64_t settled = files_.generation();
  static_cast<void>(files_.directories());
  EXPECT_EQ(files_.generation(), settled);
  writeContents(file_, "changed in place");
  EXPECT_EQ(files_.directories()[0].keys[0].bytes, "changed in place");
  EXPECT_GT(files_.generation(), settled);
}

TEST_F(TrustFilesTest, SeesAFileThatIsAddedRemovedOrReplaced) {
  settle(path_);
  ASSERT_EQ(files_.directories()[0].keys.size(), 1U);
  const std::string other = path_ + "/other.plist";
  writeContents(other, "x");
  EXPECT_EQ(files_.directories()[0].keys.size(), 2U);
  settle(path_);
  ASSERT_EQ(files_.directories()[0].keys.size(), 2U);
  writeContents(directory_ / "new", "y");
  std::filesystem::rename(directory_ / "new", other);
  EXPECT_EQ(files_.directories()[0].keys[1].bytes, "y");
  settle(path_);
  ASSERT_EQ(files_.directories()[0].keys.size(), 2U);
  std::filesystem::remove(file_);
  EXPECT_EQ(files_.directories()[0].keys.size(), 1U);
}

TEST_F(TrustFilesTest, SeesADirectoryThatIsMadeOrRemoved) {
  settle(path_);
  static_cast<void>(files_.directories());
  std::filesystem::create_directory(directory_ / "missing");
  std::filesystem::permissions(directory_ / "missing", std::filesystem::perms::owner_all);
  writeContents(directory_ / "missing/other.plist", "x");
  EXPECT_EQ(files_.directories()[1].keys.size(), 1U);
  std::filesystem::remove_all(path_);
  EXPECT_TRUE(files_.directories()[0].keys.empty());
}

TEST_F(TrustFilesTest, ReadsThemAgainWhileOneIsDoubted) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to be somebody else for a while";
  chmod(directory_.path().c_str(), 0711);
  chmod(path_.c_str(), 0755);
  settle(path_);
  // The reason goes without a change of any file.
  ASSERT_EQ(seteuid(65534), 0);
  const std::string doubt = files_.directories()[0].doubt;
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(doubt, "belongs to user 0");
  EXPECT_EQ(files_.directories()[0].doubt, "");
}

TEST(TrustFilesPlaces, AreThoseOfMachineAndUser) {
  const auto places = TrustFiles::placesOfProcess();
  ASSERT_FALSE(places.empty());
  EXPECT_EQ(places[0].path, code::TrustDirectory::systemPath());
}

}  // namespace
}  // namespace vanto::testing

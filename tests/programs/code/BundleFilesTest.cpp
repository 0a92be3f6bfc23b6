// SPDX-License-Identifier: Apache-2.0
#include "code/BundleFiles.h"

#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "code/limits.h"
#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

namespace fs = std::filesystem;

class BundleFilesTest : public testing::SignedCode {
 protected:
  [[nodiscard]] std::vector<std::string> paths() const {
    std::vector<std::string> paths;
    for (const auto& [path, resource] : BundleFiles::of(placeAt(bundle_)).resources) paths.push_back(path);
    return paths;
  }
  [[nodiscard]] std::vector<Defect> defects() const { return BundleFiles::of(placeAt(bundle_)).defects; }
};

using Paths = std::vector<std::string>;
using Defects = std::vector<Defect>;

TEST_F(BundleFilesTest, AreAllButThoseThatTheSealHasElsewhere) {
  sign(bundle_, acme_);
  fs::create_directories(bundle_ + "/Contents/empty");
  testing::writeContents(bundle_ + "/top", "x");
  EXPECT_EQ(paths(), (Paths{"Contents/Resources/r.txt", "top"}));
  EXPECT_EQ(defects(), Defects{});
}

TEST_F(BundleFilesTest, LeaveOutServicesButNothingElseInTheirDirectory) {
  test::BundleBuilder(builder_.servicesPath(), "b.vanto").identifier("b").executable("b").service().build();
  testing::writeContents(builder_.servicesPath() + "/file.vanto", "x");
  fs::create_directories(builder_.servicesPath() + "/other");
  testing::writeContents(builder_.servicesPath() + "/other/c", "x");
  fs::create_directories(bundle_ + "/Contents/Resources/c.vanto");
  testing::writeContents(bundle_ + "/Contents/Resources/c.vanto/d", "x");
  EXPECT_EQ(paths(), (Paths{"Contents/Resources/c.vanto/d", "Contents/Resources/r.txt",
                            "Contents/VantoServices/file.vanto", "Contents/VantoServices/other/c"}));
}

TEST_F(BundleFilesTest, HaveTheTargetsOfLinksAndDoNotFollowThem) {
  fs::create_symlink("/etc/passwd", bundle_ + "/file");
  fs::create_directory_symlink("..", bundle_ + "/loop");
  const BundleFiles files = BundleFiles::of(placeAt(bundle_));
  EXPECT_EQ(files.resources.at("file"), SealedResource(LinkTarget{"/etc/passwd"}));
  EXPECT_EQ(files.resources.at("loop"), SealedResource(LinkTarget{".."}));
  EXPECT_EQ(files.resources.size(), 3U);
}

TEST_F(BundleFilesTest, NameWhatCannotBeSealed) {
  ASSERT_EQ(mkfifo((bundle_ + "/fifo").c_str(), 0600), 0);
  testing::writeContents(bundle_ + "/\xff", "x");
  testing::writeContents(bundle_ + "/a\x1b", "x");
  testing::writeContents(bundle_ + "/a\tb\nc\rd", "x");
  fs::create_symlink("\x01", bundle_ + "/b");
  EXPECT_EQ(defects(), (Defects{{"a\x1b", "has a control character in its name, which cannot be signed"},
                                {"b", "leads to a name with a control character, which cannot be signed"},
                                {"fifo", "is neither a file nor a directory nor a symbolic link"},
                                {"\xff", "has a name that is not UTF-8"}}));
}

TEST_F(BundleFilesTest, NestUpToALimit) {
  std::string path = bundle_;
  for (std::size_t depth = 0; depth < limits::bundleNesting; ++depth) path += "/d";
  fs::create_directories(path);
  testing::writeContents(path + "/file", "x");
  EXPECT_EQ(defects(), Defects{});
  EXPECT_EQ(paths().size(), 2U);
  fs::create_directory(path + "/e");
  ASSERT_EQ(defects().size(), 1U);
  EXPECT_EQ(defects().front().reason, "lies in more than 64 directories");
}

TEST_F(BundleFilesTest, AreNoneOfASingleExecutable) {
  EXPECT_TRUE(BundleFiles::of(placeAt(single_)).resources.empty());
}

TEST_F(BundleFilesTest, AreSoManyAtMost) {
  // Bundle: Contents, Info.plist, Linux, a, Resources, r.txt and the directory that is filled.
  fs::create_directory(bundle_ + "/many");
  std::size_t there = 0;
  for (const auto& entry : fs::recursive_directory_iterator(bundle_)) there += entry.exists() ? 1 : 0;
  const std::string first = bundle_ + "/many/0";
  testing::writeContents(first, "x");
  for (std::size_t count = there + 1; count < limits::bundleEntries; ++count) {
    ASSERT_EQ(symlink("x", (bundle_ + "/many/" + std::to_string(count)).c_str()), 0);
  }
  EXPECT_EQ(defects(), Defects{});
  EXPECT_TRUE(BundleFiles::of(placeAt(bundle_)).isWhole);
  testing::writeContents(bundle_ + "/more", "x");
  EXPECT_FALSE(BundleFiles::of(placeAt(bundle_)).isWhole);
  EXPECT_EQ(defects(), (Defects{{"", "has more than 16384 files and directories"}}));
}

}  // namespace
}  // namespace vanto::code

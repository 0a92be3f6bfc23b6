// SPDX-License-Identifier: Apache-2.0
#include "value/BundlePath.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "support/TemporaryDirectory.h"

namespace vanto {
namespace {

TEST(BundlePath, JoinsAPlaceToTheRootWithoutDoublingTheSlash) {
  EXPECT_EQ(BundlePath::inside("/a", "/Info.plist"), "/a/Info.plist");
  EXPECT_EQ(BundlePath::inside("/", "/Info.plist"), "/Info.plist");
  EXPECT_EQ(BundlePath::inside("/", ""), "/");
  EXPECT_EQ(BundlePath::inside("/a", ""), "/a");
}

TEST(BundlePath, TakesOnlySingleComponentsAsNames) {
  EXPECT_TRUE(BundlePath::isSingleComponent("a"));
  EXPECT_TRUE(BundlePath::isSingleComponent("..."));
  EXPECT_TRUE(BundlePath::isSingleComponent(".a"));
  EXPECT_FALSE(BundlePath::isSingleComponent(""));
  EXPECT_FALSE(BundlePath::isSingleComponent("."));
  EXPECT_FALSE(BundlePath::isSingleComponent(".."));
  EXPECT_FALSE(BundlePath::isSingleComponent("a/b"));
  EXPECT_FALSE(BundlePath::isSingleComponent("/a"));
  EXPECT_FALSE(BundlePath::isSingleComponent(std::string_view("a\0b", 3)));
}

TEST(BundlePath, IsBelowADirectoryOnlyAtAComponentBoundary) {
  EXPECT_TRUE(BundlePath::isBelow("/a/b", "/a"));
  EXPECT_TRUE(BundlePath::isBelow("/a", "/"));
  EXPECT_FALSE(BundlePath::isBelow("/ab", "/a"));
  EXPECT_FALSE(BundlePath::isBelow("/a", "/a"));
  EXPECT_FALSE(BundlePath::isBelow("/b/c", "/a"));
}

TEST(BundlePath, LeavesAnAbsolutePathAsItIs) {
  EXPECT_EQ(BundlePath::absolute("/nowhere/./a..b/..c"), "/nowhere/./a..b/..c");
  EXPECT_EQ(BundlePath::absolute("/"), "/");
}

TEST(BundlePath, HasOneSlashWhereSeveralAreGiven) {
  EXPECT_EQ(BundlePath::absolute("//nowhere///a//b/"), "/nowhere/a/b/");
  EXPECT_EQ(BundlePath::absolute("///"), "/");
  EXPECT_EQ(BundlePath::absolute(".//a"), std::filesystem::current_path().string() + "/./a");
}

TEST(BundlePath, PutsTheWorkingDirectoryBeforeARelativePath) {
  EXPECT_EQ(BundlePath::absolute("a/b"), std::filesystem::current_path().string() + "/a/b");
}

TEST(BundlePath, ResolvesAPathThatGoesUpSinceTextCannotTellWhereUpIs) {
  const test::TemporaryDirectory directory;
  std::filesystem::create_directories(directory / "far/inner");
  std::filesystem::create_directory_symlink(directory / "far/inner", directory / "link");
  EXPECT_EQ(BundlePath::absolute(directory / "link/.."), directory / "far");
  EXPECT_EQ(BundlePath::absolute(directory / "../nowhere"), std::nullopt);
}

TEST(BundlePath, HasNoAbsoluteFormInAWorkingDirectoryThatIsGone) {
  const std::filesystem::path before = std::filesystem::current_path();
  const test::TemporaryDirectory directory;
  std::filesystem::create_directory(directory / "gone");
  std::filesystem::current_path(directory / "gone");
  std::filesystem::remove(directory / "gone");
  EXPECT_EQ(BundlePath::absolute("a"), std::nullopt);
  std::filesystem::current_path(before);
}

TEST(BundlePath, HasNoRealFormWhenNothingIsThere) {
  const test::TemporaryDirectory directory;
  EXPECT_EQ(BundlePath::real((directory / "nothing").c_str()), std::nullopt);
  EXPECT_EQ(BundlePath::real(directory.path().c_str()), directory.path());
}

}  // namespace
}  // namespace vanto

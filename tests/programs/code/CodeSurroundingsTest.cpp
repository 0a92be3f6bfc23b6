// SPDX-License-Identifier: Apache-2.0
#include "code/CodeSurroundings.h"

#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::code {
namespace {

TEST(CodeSurroundings, AreWhatThePathOfAnExecutableSays) {
  const auto inContents = CodeSurroundings::of("/a/B.app/Contents/Linux/b");
  ASSERT_TRUE(inContents);
  EXPECT_EQ(inContents->directory, "/a/B.app/Contents/Linux");
  EXPECT_EQ(inContents->name, "b");
  EXPECT_EQ(inContents->bundle, "/a/B.app");
  EXPECT_EQ(inContents->executables, "/Contents/Linux");
  const auto flat = CodeSurroundings::of("/a/B.app/b");
  ASSERT_TRUE(flat);
  EXPECT_EQ(flat->bundle, "/a/B.app");
  EXPECT_EQ(flat->executables, "");
  const auto top = CodeSurroundings::of("/b");
  ASSERT_TRUE(top);
  EXPECT_EQ(top->bundle, "");
  EXPECT_FALSE(CodeSurroundings::of(""));
}

TEST(BundlePlan, IsThatOfTheFirstLayoutWithSomethingForAnInfoFile) {
  std::vector<std::string> asked;
  const auto only = [&asked](const char* place) {
    asked.clear();
    return [&asked, place](const std::string& info) {
      asked.push_back(info);
      return info == place;
    };
  };
  EXPECT_EQ(BundlePlan::find("/B.app", only("Contents/Info.plist"))->signature, "Contents/Signature.plist");
  EXPECT_EQ(asked, (std::vector<std::string>{"Contents/Info.plist"}));
  EXPECT_EQ(BundlePlan::find("/B.app/", only("Info.plist"))->signature, "Signature.plist");
  EXPECT_EQ(asked, (std::vector<std::string>{"Contents/Info.plist", "Info.plist"}));
  EXPECT_EQ(BundlePlan::find("/B.framework", only("Resources/Info.plist"))->signature, "Resources/Signature.plist");
  EXPECT_FALSE(BundlePlan::find("/B.app", only("Resources/Info.plist")));
  EXPECT_FALSE(BundlePlan::find("/B", only("Info.plist")));
}

TEST(IsSomethingAt, CountsLinksThatLeadNowhere) {
  const test::TemporaryDirectory directory;
  const Fd opened(open(directory.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  EXPECT_FALSE(isSomethingAt(opened.get(), "a"));
  EXPECT_FALSE(isSomethingAt(opened.get(), "a/b"));
  std::filesystem::create_symlink("/nowhere", directory / "a");
  EXPECT_TRUE(isSomethingAt(opened.get(), "a"));
}

}  // namespace
}  // namespace vanto::code

// SPDX-License-Identifier: Apache-2.0
#include "code/Seal.h"

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"
#include "support/Values.h"

namespace vanto::code {
namespace {

class SealTest : public ::testing::Test {
 protected:
  SealTest() {
    seal_.identifier = "org.example.a";
    seal_.executableName = "a";
    seal_.executable.fill(1);
    seal_.info = Digest{};
    seal_.resources["b/c"] = Digest{};
    seal_.resources["link"] = LinkTarget{"../x"};
    seal_.entitlements =
        Ref<PlistDictionary>::share(testing::dictionary({{testing::string("net"), testing::number(1)}}));
  }

  /// Why the seal is refused after one part of its text was replaced.
  [[nodiscard]] std::string mistakeAfter(const std::string& what, const std::string& by) const {
    std::string problem;
    std::string text = seal_.bytes(problem).value();
    const std::size_t place = text.find(what);
    EXPECT_NE(place, text.npos) << what;
    EXPECT_FALSE(Seal::read(text.replace(place, what.size(), by), problem)) << by;
    return problem;
  }

  const TemporaryScope scope_;
  Seal seal_;
};

TEST_F(SealTest, IsReadAsItWasWritten) {
  std::string problem;
  const std::string bytes = seal_.bytes(problem).value();
  const auto read = Seal::read(bytes, problem);
  ASSERT_TRUE(read) << problem;
  EXPECT_EQ(read->identifier, seal_.identifier);
  EXPECT_EQ(read->executableName, seal_.executableName);
  EXPECT_EQ(read->executable, seal_.executable);
  EXPECT_EQ(read->info, seal_.info);
  EXPECT_EQ(read->resources, seal_.resources);
  EXPECT_TRUE(read->entitlements->isEqual(seal_.entitlements.get()));
  EXPECT_EQ(read->bytes(problem), bytes);
}

TEST_F(SealTest, IsRefusedWithWhatIsWrong) {
  EXPECT_EQ(mistakeAfter("<integer>1</integer>\n</dict>", "<integer>2</integer>\n</dict>"),
            "Version is none that is known");
  EXPECT_EQ(mistakeAfter("<integer>1</integer>\n</dict>", "<true/></dict>"), "Version is none that is known");
  EXPECT_EQ(mistakeAfter("<integer>1</integer>\n</dict>", "<real>1</real></dict>"), "Version is none that is known");
  EXPECT_EQ(mistakeAfter("Identifier", "Identifies"), "Identifier is missing");
  EXPECT_EQ(mistakeAfter("<key>Info</key>", "<key>More</key>"), "Resources belong to no bundle");
  EXPECT_EQ(mistakeAfter("Entitlements", "Entitlement"), "Entitlements is missing");
  EXPECT_EQ(mistakeAfter("<string>a</string>", "<string>a/b</string>"),
            "Executable is not as it should be: Name is no file name");
  EXPECT_EQ(mistakeAfter("<key>b/c</key>", "<key>b/../c</key>"), "Resources has an entry that is none");
  EXPECT_EQ(mistakeAfter("<key>Link</key>", "<key>Lunk</key>"), "Resources has an entry that is none");
}

TEST_F(SealTest, IsRefusedWhenCutAnywhere) {
  std::string problem;
  const std::string whole = seal_.bytes(problem).value();
  for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
    EXPECT_FALSE(Seal::read(whole.substr(0, size), problem)) << size;
    EXPECT_NE(problem, "");
  }
}

TEST_F(SealTest, CannotSayWhatXmlCannotCarry) {
  std::string problem;
  seal_.identifier = "\xff";
  EXPECT_FALSE(seal_.bytes(problem));
  EXPECT_EQ(problem, "a name is not UTF-8");
  seal_.identifier = "a\x01";
  EXPECT_FALSE(seal_.bytes(problem));
  EXPECT_NE(problem, "");
}

TEST(ResourcePath, StaysInTheBundle) {
  for (const char* path : {"a", "a/b", "...", "a/.b"}) EXPECT_TRUE(isResourcePath(path)) << path;
  for (const char* path : {"", "/a", "a/", "a//b", ".", "..", "a/../b", "./a"})
    EXPECT_FALSE(isResourcePath(path)) << path;
  EXPECT_FALSE(isResourcePath(std::string_view("a\0", 2)));
}

}  // namespace
}  // namespace vanto::code

// SPDX-License-Identifier: Apache-2.0
#include "code/Signing.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"
#include "support/Values.h"

namespace vanto::code {
namespace {

class SigningTest : public testing::SignedCode {
 protected:
  std::vector<Defect> mistakesAt(const std::string& path, const SealWishes& wishes = {}) const {
    std::vector<Defect> defects;
    EXPECT_FALSE(createSeal(placeAt(path), wishes, defects));
    return defects;
  }
};

using Defects = std::vector<Defect>;

TEST_F(SigningTest, SealsABundle) {
  std::vector<Defect> defects;
  PlistDictionary* const entitlements = testing::dictionary({{testing::string("net"), testing::number(1)}});
  const auto seal = createSeal(placeAt(bundle_), {"", Ref<PlistDictionary>::share(entitlements)}, defects);
  ASSERT_TRUE(seal);
  EXPECT_EQ(seal->identifier, "org.example.a");
  EXPECT_EQ(seal->executableName, "a");
  EXPECT_EQ(seal->executable, digestOf("program"));
  EXPECT_EQ(seal->info, digestOf(testing::contentsOf(builder_.infoPath())));
  EXPECT_EQ(seal->resources, (SealedResources{{"Contents/Resources/r.txt", digestOf("text").value()}}));
  EXPECT_EQ(seal->entitlements.get(), entitlements);
}

TEST_F(SigningTest, SealsASingleExecutableUnderItsNameOrAnother) {
  std::vector<Defect> defects;
  const auto seal = createSeal(placeAt(single_), {"", nullptr}, defects);
  ASSERT_TRUE(seal);
  EXPECT_EQ(seal->identifier, "single");
  EXPECT_FALSE(seal->info);
  EXPECT_EQ(seal->entitlements->count(), 0U);
  EXPECT_EQ(createSeal(placeAt(single_), {"org.x", nullptr}, defects)->identifier, "org.x");
}

TEST_F(SigningTest, CannotChangeTheIdentifierOfABundle) {
  EXPECT_EQ(mistakesAt(bundle_, {"org.other", nullptr}),
            (Defects{{"Contents/Info.plist", "has the identifier org.example.a, which a signature cannot change"}}));
}

TEST_F(SigningTest, NamesEverythingThatIsMissing) {
  testing::writeContents(builder_.infoPath(), "<plist version=\"1.0\"><dict/></plist>");
  EXPECT_EQ(mistakesAt(bundle_), (Defects{{"Contents/Info.plist", "has no KorBundleIdentifier"},
                                          {"Contents/Info.plist", "names no executable"}}));
}

TEST_F(SigningTest, RefusesAnExecutableThatIsNoFileOfTheBundle) {
  std::filesystem::remove(builder_.executablePath("a"));
  EXPECT_EQ(mistakesAt(bundle_), (Defects{{"Contents/Linux/a", "cannot be opened: No such file or directory"}}));
  std::filesystem::create_symlink("/bin/true", builder_.executablePath("a"));
  EXPECT_EQ(mistakesAt(bundle_),
            (Defects{{"Contents/Linux/a", "is a symbolic link, which cannot be signed for what it leads to"}}));
  std::filesystem::remove(builder_.executablePath("a"));
  std::filesystem::create_directory(builder_.executablePath("a"));
  EXPECT_EQ(mistakesAt(bundle_), (Defects{{"Contents/Linux/a", "is no regular file"}}));
}

}  // namespace
}  // namespace vanto::code

// SPDX-License-Identifier: Apache-2.0
#include "code/CodePlace.h"

#include <filesystem>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

using test::BundleBuilder;
using Layout = test::BundleLayout;

class CodePlaceTest : public testing::SignedCode {
 protected:
  [[nodiscard]] static std::string mistakeAt(const std::string& path) {
    std::string problem;
    EXPECT_FALSE(CodePlace::ofPath(path, problem)) << path;
    return problem;
  }
};

TEST_F(CodePlaceTest, IsThatOfEachLayout) {
  const std::tuple<Layout, const char*, const char*, const char*> layouts[] = {
      {Layout::Contents, "C.app", "Contents/Linux/x", "Contents/Signature.plist"},
      {Layout::Framework, "F.framework", "x", "Resources/Signature.plist"},
      {Layout::Flat, "B.bundle", "x", "Signature.plist"}};
  for (const auto& [layout, name, executable, signature] : layouts) {
    const std::string path = BundleBuilder(directory_.path(), name, layout).identifier("i").executable("x").build();
    const CodePlace place = placeAt(path + "/");
    EXPECT_TRUE(place.isBundle());
    EXPECT_EQ(place.path, path);
    EXPECT_EQ(place.executable, executable);
    EXPECT_EQ(place.signature, signature);
    EXPECT_EQ(place.identifier, "i");
    EXPECT_FALSE(place.hasSignature());
    const auto around = CodePlace::ofBundleAround(place.pathOf(place.executable));
    ASSERT_TRUE(around) << name;
    EXPECT_EQ(around->path, path);
  }
}

TEST_F(CodePlaceTest, OfAnExecutableIsItsBundleOnceThatIsSigned) {
  const std::string executable = builder_.executablePath("a");
  EXPECT_FALSE(placeAt(executable).isBundle());
  sign(bundle_, acme_);
  EXPECT_TRUE(placeAt(executable).isBundle());
}

TEST_F(CodePlaceTest, OfAFileThatIsNotTheExecutableIsBesideIt) {
  sign(bundle_, acme_);
  const std::string other = builder_.executablePath("other");
  testing::writeContents(other, "x");
  EXPECT_FALSE(CodePlace::ofBundleAround(other));
  const CodePlace place = placeAt(other);
  EXPECT_FALSE(place.isBundle());
  EXPECT_EQ(place.signature, "other.Signature.plist");
  EXPECT_EQ(place.executableName(), "other");
}

TEST_F(CodePlaceTest, OfALinkIsThatOfTheFile) {
  std::filesystem::create_symlink(single_, directory_ / "link");
  EXPECT_EQ(placeAt(directory_ / "link").executable, "single");
}

TEST_F(CodePlaceTest, IsNoneWhereNothingCanBeSigned) {
  EXPECT_EQ(mistakeAt(directory_.path()),
            directory_.path() + ": is a directory without an Info.plist, and so no bundle");
  EXPECT_EQ(mistakeAt(directory_ / "none"), (directory_ / "none") + ": No such file or directory");
  testing::writeContents(builder_.infoPath(), "damaged");
  EXPECT_EQ(mistakeAt(bundle_), builder_.infoPath() + ": is no property list with a dictionary");
  std::filesystem::remove(builder_.infoPath());
  ASSERT_EQ(mkfifo(builder_.infoPath().c_str(), 0600), 0);
  EXPECT_EQ(mistakeAt(bundle_), builder_.infoPath() + ": is no regular file");
}

TEST_F(CodePlaceTest, DoesNotLieBehindLinks) {
  const std::string linked = builder_.infoPath() + ": is or lies behind a symbolic link, which is not signed";
  std::filesystem::rename(builder_.infoPath(), directory_ / "Info");
  std::filesystem::create_symlink(directory_ / "Info", builder_.infoPath());
  EXPECT_EQ(mistakeAt(bundle_), linked);
  std::filesystem::rename(directory_ / "Info", directory_ / "A.vanto/Contents/Info.plist");
  std::filesystem::rename(directory_ / "A.vanto/Contents", directory_ / "Contents");
  std::filesystem::create_directory_symlink("../Contents", directory_ / "A.vanto/Contents");
  EXPECT_EQ(mistakeAt(bundle_), linked);
}

TEST_F(CodePlaceTest, OfAFileIsNoneWhereTheInfoFileOfASignedBundleAroundItCannotBeRead) {
  const std::string executable = builder_.executablePath("a");
  sign(bundle_, acme_);
  testing::writeContents(builder_.infoPath(), "damaged");
  EXPECT_EQ(mistakeAt(executable), builder_.infoPath() + ": is no property list with a dictionary");
  std::filesystem::remove(builder_.infoPath());
  std::filesystem::create_symlink("/nowhere", builder_.infoPath());
  EXPECT_EQ(mistakeAt(executable), builder_.infoPath() + ": is or lies behind a symbolic link, which is not signed");
  std::filesystem::remove(bundle_ + "/Contents/Signature.plist");
  EXPECT_FALSE(placeAt(executable).isBundle());
}

TEST_F(CodePlaceTest, TakesNoExecutableNameThatLeadsElsewhere) {
  for (const char* name : {"../a", "/bin/true", "..", ""}) {
    testing::writeContents(builder_.infoPath(), "<plist version=\"1.0\"><dict><key>KorBundleExecutable</key><string>" +
                                                    std::string(name) + "</string></dict></plist>");
    EXPECT_EQ(placeAt(bundle_).executable, "") << name;
  }
}

}  // namespace
}  // namespace vanto::code

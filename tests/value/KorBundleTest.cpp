// SPDX-License-Identifier: Apache-2.0
#include "value/KorBundle.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <string>
#include <string_view>

#include "support/BundleBuilder.h"
#include "support/Values.h"

namespace vanto {
namespace {

namespace fs = std::filesystem;
using namespace vanto::testing;
using namespace std::string_view_literals;
using test::BundleBuilder;
using test::BundleLayout;

/// The path of the directory that might be the bundle of an executable at `path`; empty when there is none.
std::string bundleOf(std::string_view path) {
  const Ref<KorURL> file = KorURL::create(*string(path), false);
  const auto bundle = Ref<KorBundle>::adopt(_KorBundleCreateWithExecutableURLIfMightBeBundle(file.get()));
  if (!bundle) return "";
  const auto url = Ref<KorURL>::adopt(KorBundleCopyBundleURL(bundle.get()));
  EXPECT_EQ(url.get(), bundle->url());
  EXPECT_TRUE(url->isDirectory());
  return std::string(url->path()->text());
}

/// The same for the framework.
std::string frameworkOf(std::string_view path) {
  const auto url = Ref<KorURL>::adopt(_KorBundleCopyFrameworkURLForExecutablePath(string(path)));
  if (!url) return "";
  EXPECT_TRUE(url->isDirectory());
  return std::string(url->path()->text());
}

class KorBundleTest : public ::testing::Test {
 protected:
  [[nodiscard]] BundleBuilder builder(std::string_view name, BundleLayout layout = BundleLayout::Contents) const {
    return BundleBuilder(directory_.path(), name, layout);
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(KorBundleTest, IsFoundAboveAnExecutableInEachLayout) {
  const std::string contents = builder("A.app").executable("A").build();
  EXPECT_EQ(bundleOf(contents + "/Contents/Linux/A"), contents);
  const std::string framework = builder("B.framework", BundleLayout::Framework).executable("B").build();
  EXPECT_EQ(bundleOf(framework + "/B"), framework);
  const std::string flat = builder("C.vanto", BundleLayout::Flat).executable("C").build();
  EXPECT_EQ(bundleOf(flat + "/C"), flat);
}

TEST_F(KorBundleTest, IsFoundFromAnyDepthAndForAFileThatDoesNotExist) {
  const std::string path = builder("A.app").build();
  EXPECT_EQ(bundleOf(path + "/Contents/Resources/tools/bin/helper"), path);
  EXPECT_EQ(bundleOf(path + "/helper"), path);
}

TEST_F(KorBundleTest, IsTheNearestOfSeveral) {
  const BundleBuilder host = builder("Host.app");
  BundleBuilder(host).build();
  const std::string inner = BundleBuilder(host.servicesPath(), "Inner.vanto").build();
  EXPECT_EQ(bundleOf(inner + "/Contents/Linux/Inner"), inner);
  EXPECT_EQ(bundleOf(host.servicesPath() + "/tool"), host.path());
  // A directory without an Info file does not count, whatever its name.
  EXPECT_EQ(bundleOf(host.servicesPath() + "/Other.vanto/Contents/Linux/Other"), host.path());
}

TEST_F(KorBundleTest, IsNotTheDirectoryThatHoldsTheInfoFileOfAnother) {
  const std::string contents = builder("A.app").build();
  EXPECT_EQ(bundleOf(contents + "/Contents/tool"), contents);
  const std::string framework = builder("B.framework", BundleLayout::Framework).build();
  EXPECT_EQ(bundleOf(framework + "/Resources/tool"), framework);
}

TEST_F(KorBundleTest, NeedsAnExtension) {
  EXPECT_EQ(bundleOf(builder("Plain").build() + "/Contents/Linux/Plain"), "");
  EXPECT_EQ(bundleOf(builder("Dot.").build() + "/Contents/Linux/Dot"), "");
}

TEST_F(KorBundleTest, HasTheFrameworkLayoutOnlyWithThatExtension) {
  EXPECT_EQ(bundleOf(builder("A.app", BundleLayout::Framework).build() + "/A"), "");
  EXPECT_EQ(bundleOf(builder("A.Framework", BundleLayout::Framework).build() + "/A"), "");
}

TEST_F(KorBundleTest, IsFoundWithoutReadingItsInfoFile) {
  const std::string path = builder("A.app").info("damaged").build();
  EXPECT_EQ(bundleOf(path + "/Contents/Linux/A"), path);
}

TEST_F(KorBundleTest, IsPassedOverWhenItsInfoFileIsADanglingLink) {
  const BundleBuilder outer = builder("Outer.app");
  BundleBuilder(outer).build();
  const BundleBuilder inner = BundleBuilder(outer.resourcesPath(), "Inner.app").withoutInfo();
  BundleBuilder(inner).build();
  fs::create_symlink("missing", inner.infoPath());
  EXPECT_EQ(bundleOf(inner.executablePath("Inner")), outer.path());
  fs::remove(inner.infoPath());
  fs::create_symlink("Info.plist", inner.infoPath());
  EXPECT_EQ(bundleOf(inner.executablePath("Inner")), inner.path()) << "a loop is there, and not acceptable";
}

TEST_F(KorBundleTest, IsNotFoundOutsideOfBundles) {
  EXPECT_EQ(bundleOf(directory_ / "bin/tool"), "");
  EXPECT_EQ(bundleOf("/tool"), "");
  EXPECT_EQ(bundleOf("/"), "");
  EXPECT_EQ(bundleOf("tool"), "");
}

TEST_F(KorBundleTest, IsNotTheExecutableItself) {
  EXPECT_EQ(bundleOf(builder("A.app").build()), "");
  EXPECT_EQ(bundleOf(builder("A.app").build() + "/"), "");
}

TEST_F(KorBundleTest, IsFoundAboveThePathAsItIsWritten) {
  const std::string path = builder("A.app").executable("A").build();
  fs::create_symlink(path, directory_ / "Link.app");
  EXPECT_EQ(bundleOf(directory_ / "Link.app/Contents/Linux/A"), directory_ / "Link.app");
  fs::create_symlink(path + "/Contents/Linux/A", directory_ / "tool");
  EXPECT_EQ(bundleOf(directory_ / "tool"), "");
}

TEST_F(KorBundleTest, LeavesItToTheFileSystemWhereTwoDotsLead) {
  const std::string path = builder("A.app").executable("A").build();
  fs::create_directory_symlink(path + "/Contents/Linux", directory_ / "bin");
  EXPECT_EQ(bundleOf(directory_ / "bin/../Linux/A"), path);
  EXPECT_EQ(bundleOf(directory_ / "missing/../A.app/Contents/Linux/A"), "");
}

TEST_F(KorBundleTest, IsFoundForAPathWithMoreSlashesThanNeeded) {
  const std::string path = builder("A.app").executable("A").build();
  EXPECT_EQ(bundleOf(path + "//Contents///Linux/A//"), path);
}

TEST_F(KorBundleTest, IsNotFoundForAPathLongerThanThatOfAnyFile) {
  const std::string path = builder("A.app").build();
  const std::string_view component = "/a";
  std::string longest = path;
  while (longest.size() + component.size() < PATH_MAX - 1) longest += component;
  longest.append(PATH_MAX - 1 - longest.size(), 'b');
  EXPECT_EQ(bundleOf(longest), path);
  EXPECT_EQ(bundleOf(longest + "b"), "");
  EXPECT_EQ(frameworkOf("/a.framework/" + std::string(std::size_t{1} << 20, '/') + "a"), "");
}

TEST_F(KorBundleTest, IsNotFoundForNothing) {
  EXPECT_EQ(_KorBundleCreateWithExecutableURLIfMightBeBundle(nullptr), nullptr);
  EXPECT_EQ(KorBundleCopyBundleURL(nullptr), nullptr);
  EXPECT_EQ(_KorBundleCopyFrameworkURLForExecutablePath(nullptr), nullptr);
}

TEST_F(KorBundleTest, GivesEachCallerAReferenceToItsURL) {
  const std::string path = builder("A.app").build();
  const Ref<KorURL> file = KorURL::create(*string(path + "/Contents/Linux/A"), false);
  const auto bundle = Ref<KorBundle>::adopt(_KorBundleCreateWithExecutableURLIfMightBeBundle(file.get()));
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->referenceCount(), 1U);
  EXPECT_EQ(bundle->url()->referenceCount(), 1U);
  const auto url = Ref<KorURL>::adopt(KorBundleCopyBundleURL(bundle.get()));
  EXPECT_EQ(url->referenceCount(), 2U);
  EXPECT_STREQ(bundle->runtimeClass().name, "KorBundle");
}

TEST_F(KorBundleTest, FindsTheNearestFrameworkByItsNameAlone) {
  EXPECT_EQ(frameworkOf("/a/B.framework/B"), "/a/B.framework");
  EXPECT_EQ(frameworkOf("/A.framework/Resources/B.framework/Resources/C.app/Contents/Linux/C"),
            "/A.framework/Resources/B.framework");
  EXPECT_EQ(frameworkOf("/a/.framework/b"), "/a/.framework");
}

TEST_F(KorBundleTest, FindsNoFrameworkWhereNoneIsAbove) {
  EXPECT_EQ(frameworkOf("/a/B.Framework/B"), "");
  EXPECT_EQ(frameworkOf("/a/framework/B"), "");
  EXPECT_EQ(frameworkOf("/a/B.framework"), "");
  EXPECT_EQ(frameworkOf("/a/B.frameworks/B"), "");
  EXPECT_EQ(frameworkOf(""), "");
  EXPECT_EQ(frameworkOf("/a.framework/b\0c"sv), "");
}

}  // namespace
}  // namespace vanto

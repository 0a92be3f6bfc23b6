// SPDX-License-Identifier: Apache-2.0
// The files that a bundle knows by name: its executable and its resources.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <VantoService/Bundle.h>
#include <VantoService/TemporaryScope.h>

#include "support/BundleBuilder.h"

namespace vanto {
namespace {

namespace fs = std::filesystem;
using test::BundleBuilder;
using test::BundleLayout;

Ref<Bundle> bundleAt(std::string_view path) {
  return Bundle::create(*PlistString::create(path));
}

void touch(const std::string& path) {
  std::ofstream file(path);
  EXPECT_TRUE(file.is_open()) << path;
}

/// A contents bundle whose Info dictionary names its executable "Foo", which does not exist yet.
class BundleExecutable : public ::testing::Test {
 protected:
  BundleExecutable() {
    builder_.entry("KorBundleExecutable", BundleBuilder::string("Foo")).build();
    fs::create_directory(linux());
  }

  /// The executable path of a bundle that names its executable so.
  PlistString* pathForEntry(std::string_view xml) const {
    BundleBuilder other(directory_.path(), "Other.vanto");
    return bundleAt(other.entry("KorBundleExecutable", xml).build())->executablePath();
  }

  [[nodiscard]] PlistString* path() const { return bundleAt(builder_.path())->executablePath(); }
  [[nodiscard]] std::string linux() const { return builder_.path() + "/Contents/Linux"; }
  [[nodiscard]] std::string file() const { return builder_.executablePath("Foo"); }

  const test::TemporaryDirectory directory_;
  BundleBuilder builder_{directory_.path(), "Foo.vanto"};
  const TemporaryScope scope_;
};

TEST_F(BundleExecutable, IsNoneWhenTheInfoDictionaryNamesNone) {
  EXPECT_EQ(bundleAt(BundleBuilder(directory_.path(), "Bare.vanto").build())->executablePath(), nullptr);
}

TEST_F(BundleExecutable, IsNoneWhenItsNameIsNotAString) {
  EXPECT_EQ(pathForEntry(BundleBuilder::integer(1)), nullptr);
  EXPECT_EQ(pathForEntry(BundleBuilder::array({})), nullptr);
}

TEST_F(BundleExecutable, IsNoneWhenItsNameIsNotASingleComponent) {
  touch(file());
  for (const std::string_view name :
       {"", ".", "..", "/", "Foo/", "./Foo", "../Linux/Foo", "../../Contents/Linux/Foo"}) {
    EXPECT_EQ(pathForEntry(BundleBuilder::string(name)), nullptr) << name;
  }
  EXPECT_EQ(pathForEntry(BundleBuilder::string(file())), nullptr);
}

TEST_F(BundleExecutable, IsLookedUpAnewOnEveryCall) {
  const Ref<Bundle> bundle = bundleAt(builder_.path());
  EXPECT_EQ(bundle->executablePath(), nullptr);
  touch(file());
  EXPECT_EQ(bundle->executablePath()->text(), file());
  fs::remove_all(builder_.path());
  EXPECT_EQ(bundle->executablePath(), nullptr);
}

TEST_F(BundleExecutable, IsARegularFile) {
  fs::create_directory(file());
  EXPECT_EQ(path(), nullptr);
  fs::remove(file());
  ASSERT_EQ(mkfifo(file().c_str(), 0700), 0);
  EXPECT_EQ(path(), nullptr);
}

TEST_F(BundleExecutable, MayBeALinkInsideTheBundle) {
  touch(builder_.path() + "/Contents/Program");
  fs::create_symlink("../Program", file());
  EXPECT_EQ(path()->text(), file());
  fs::remove(file());
  fs::create_symlink(builder_.path() + "/Contents/Program", file());
  EXPECT_EQ(path()->text(), file());
}

TEST_F(BundleExecutable, IsNoneWhenALinkLeadsOutOfTheBundle) {
  touch(directory_ / "Outside");
  fs::create_symlink(directory_ / "Outside", file());
  EXPECT_EQ(path(), nullptr);
  fs::remove(file());
  fs::create_directory(directory_ / "Foo.vantoo");
  touch(directory_ / "Foo.vantoo/Foo");
  fs::create_symlink("../../../Foo.vantoo/Foo", file());
  EXPECT_EQ(path(), nullptr);
  fs::remove(file());
  fs::create_symlink("Nowhere", file());
  EXPECT_EQ(path(), nullptr);
}

TEST_F(BundleExecutable, IsNoneWhenItsDirectoryIsALinkOutOfTheBundle) {
  fs::remove(linux());
  fs::create_directory(directory_ / "outside");
  touch(directory_ / "outside/Foo");
  fs::create_directory_symlink(directory_ / "outside", linux());
  EXPECT_EQ(path(), nullptr);
}

/// A bundle with a resource "profile.sb".
class BundleResource : public ::testing::TestWithParam<BundleLayout> {
 protected:
  BundleResource() {
    builder_.resource("profile.sb", "deny").resource("plain", "text").build();
    bundle_ = bundleAt(builder_.path());
  }

  [[nodiscard]] std::string in(std::string_view name) const {
    return builder_.resourcesPath() + "/" + std::string(name);
  }

  const test::TemporaryDirectory directory_;
  BundleBuilder builder_{directory_.path(), "Foo.framework", GetParam()};
  Ref<Bundle> bundle_;
  const TemporaryScope scope_;
};

INSTANTIATE_TEST_SUITE_P(EveryLayout, BundleResource,
                         ::testing::Values(BundleLayout::Contents, BundleLayout::Framework, BundleLayout::Flat));

TEST_P(BundleResource, IsFoundByNameAndExtension) {
  const KorURL* url = bundle_->urlForResource("profile", "sb");
  ASSERT_NE(url, nullptr);
  EXPECT_EQ(url->path()->text(), in("profile.sb"));
  EXPECT_FALSE(url->isDirectory());
}

TEST_P(BundleResource, NeedsNoExtension) {
  EXPECT_EQ(bundle_->urlForResource("plain", "")->path()->text(), in("plain"));
  EXPECT_EQ(bundle_->urlForResource("profile.sb", "")->path()->text(), in("profile.sb"));
}

TEST_P(BundleResource, IsNoneWhenThereIsNoSuchFile) {
  EXPECT_EQ(bundle_->urlForResource("profile", ""), nullptr);
  EXPECT_EQ(bundle_->urlForResource("profile", "SB"), nullptr);
  EXPECT_EQ(bundle_->urlForResource("other", "sb"), nullptr);
  EXPECT_EQ(bundle_->urlForResource(std::string(300, 'n'), "sb"), nullptr);
}

TEST_P(BundleResource, IsNoneWhenANameIsNotASingleComponent) {
  fs::create_directory(in("sub"));
  touch(in("sub/deep.sb"));
  for (const std::string_view name : {"", ".", "..", "/", "sub/deep", "../profile", "/etc/passwd"}) {
    EXPECT_EQ(bundle_->urlForResource(name, "sb"), nullptr) << name;
  }
  EXPECT_EQ(bundle_->urlForResource("/etc/passwd", ""), nullptr);
  EXPECT_EQ(bundle_->urlForResource(std::string_view("profile\0", 8), "sb"), nullptr);
  touch(in("a.."));
  for (const std::string_view extension : {".", "..", "/", "sb/../profile.sb"}) {
    EXPECT_EQ(bundle_->urlForResource("a", extension), nullptr) << extension;
  }
  EXPECT_EQ(bundle_->urlForResource("profile", std::string_view("sb\0x", 4)), nullptr);
}

TEST_P(BundleResource, IsNoneWhenANameIsNoText) {
  touch(in("\xff.sb"));
  EXPECT_EQ(bundle_->urlForResource("\xff", "sb"), nullptr);
}

TEST_P(BundleResource, IsARegularFile) {
  fs::create_directory(in("directory.sb"));
  EXPECT_EQ(bundle_->urlForResource("directory", "sb"), nullptr);
  ASSERT_EQ(mkfifo(in("fifo.sb").c_str(), 0600), 0);
  EXPECT_EQ(bundle_->urlForResource("fifo", "sb"), nullptr);
}

TEST_P(BundleResource, MayBeALinkToAFileAnywhere) {
  touch(directory_ / "elsewhere");
  fs::create_symlink(directory_ / "elsewhere", in("link.sb"));
  EXPECT_EQ(bundle_->urlForResource("link", "sb")->path()->text(), in("link.sb"));
  fs::create_symlink("nowhere", in("dangling.sb"));
  EXPECT_EQ(bundle_->urlForResource("dangling", "sb"), nullptr);
}

TEST_P(BundleResource, HasAStandardisedURL) {
  const Ref<Bundle> bundle = bundleAt(directory_.path() + "//./Foo.framework");
  EXPECT_EQ(bundle->urlForResource("profile", "sb")->path()->text(), in("profile.sb"));
}

TEST_P(BundleResource, IsNoneWhenTheDirectoryIsGone) {
  fs::remove_all(builder_.path());
  EXPECT_EQ(bundle_->urlForResource("profile", "sb"), nullptr);
}

}  // namespace
}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include <VantoService/Bundle.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include <VantoService/TemporaryScope.h>

#include "support/BundleBuilder.h"

namespace vanto {
namespace {

namespace fs = std::filesystem;
using test::BundleBuilder;
using test::BundleLayout;

constexpr BundleLayout everyLayout[] = {BundleLayout::Contents, BundleLayout::Framework, BundleLayout::Flat};

Ref<Bundle> bundleAt(std::string_view path) {
  return Bundle::create(*PlistString::create(path));
}

std::string nameFor(BundleLayout layout) {
  return layout == BundleLayout::Framework ? "Foo.framework" : "Foo.vanto";
}

/// Tests of what a bundle is, made in a directory of their own and inside a temporary-object scope.
class BundleTest : public ::testing::Test {
 protected:
  /// A bundle of this layout whose identifier tells it apart.
  BundleBuilder builder(std::string_view name, BundleLayout layout, std::string_view identifier) const {
    return BundleBuilder(directory_.path(), name, layout).identifier(identifier);
  }

  const test::TemporaryDirectory directory_;
  const TemporaryScope scope_;
};

TEST_F(BundleTest, IsFoundInEachLayout) {
  for (const BundleLayout layout : everyLayout) {
    const test::TemporaryDirectory directory;
    const BundleBuilder builder =
        BundleBuilder(directory.path(), nameFor(layout), layout).identifier("com.example.foo").executable("Foo");
    const std::string path = BundleBuilder(builder).build();
    const Ref<Bundle> bundle = bundleAt(path);
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->bundlePath()->text(), path);
    EXPECT_EQ(bundle->resourcePath()->text(), builder.resourcesPath());
    EXPECT_EQ(bundle->bundleIdentifier()->text(), "com.example.foo");
    EXPECT_EQ(bundle->executablePath()->text(), builder.executablePath("Foo"));
    EXPECT_EQ(bundle->infoDictionary()->count(), 2U);
  }
}

TEST_F(BundleTest, PrefersContentsToFrameworkToFlat) {
  builder("Foo.framework", BundleLayout::Flat, "flat").build();
  EXPECT_EQ(bundleAt(directory_ / "Foo.framework")->bundleIdentifier()->text(), "flat");
  builder("Foo.framework", BundleLayout::Framework, "framework").build();
  EXPECT_EQ(bundleAt(directory_ / "Foo.framework")->bundleIdentifier()->text(), "framework");
  builder("Foo.framework", BundleLayout::Contents, "contents").build();
  EXPECT_EQ(bundleAt(directory_ / "Foo.framework")->bundleIdentifier()->text(), "contents");
}

TEST_F(BundleTest, HasTheFrameworkLayoutOnlyWithThatExtension) {
  builder("Foo.vanto", BundleLayout::Framework, "framework").build();
  EXPECT_FALSE(bundleAt(directory_ / "Foo.vanto"));
  builder("Foo.Framework", BundleLayout::Framework, "framework").build();
  EXPECT_FALSE(bundleAt(directory_ / "Foo.Framework"));
}

TEST_F(BundleTest, IsNotLookedForInAnotherLayoutWhenItsInfoFileIsDamaged) {
  builder("Foo.vanto", BundleLayout::Flat, "flat").build();
  BundleBuilder(directory_.path(), "Foo.vanto").info("<plist>").build();
  EXPECT_FALSE(bundleAt(directory_ / "Foo.vanto"));
}

TEST_F(BundleTest, IsLookedForInTheNextLayoutWhenContentsIsAFileOrItsInfoFileADanglingLink) {
  builder("Foo.vanto", BundleLayout::Flat, "flat").resource("Contents", "a file").build();
  EXPECT_TRUE(bundleAt(directory_ / "Foo.vanto"));
  const BundleBuilder contents(directory_.path(), "Bar.vanto");
  builder("Bar.vanto", BundleLayout::Flat, "flat").build();
  fs::create_directory(directory_ / "Bar.vanto/Contents");
  fs::create_symlink("nowhere", contents.infoPath());
  EXPECT_TRUE(bundleAt(directory_ / "Bar.vanto"));
}

TEST_F(BundleTest, NeedsNoExtensionWhenAskedForByPath) {
  builder("Foo", BundleLayout::Contents, "contents").build();
  EXPECT_TRUE(bundleAt(directory_ / "Foo"));
}

TEST_F(BundleTest, IsNotMadeWhereNoBundleIs) {
  fs::create_directory(directory_ / "Empty.vanto");
  BundleBuilder(directory_.path(), "Bare.vanto").withoutInfo().build();
  builder("Foo.vanto", BundleLayout::Contents, "contents").build();
  EXPECT_FALSE(bundleAt(directory_ / "Missing.vanto"));
  EXPECT_FALSE(bundleAt(directory_ / "Empty.vanto"));
  EXPECT_FALSE(bundleAt(directory_ / "Bare.vanto"));
  EXPECT_FALSE(bundleAt(directory_ / "Foo.vanto/Contents/Info.plist"));
  EXPECT_FALSE(bundleAt(""));
  EXPECT_FALSE(bundleAt("///"));
  EXPECT_FALSE(bundleAt(std::string_view("\0", 1)));
  EXPECT_FALSE(bundleAt(directory_ / std::string_view("Foo.vanto\0", 10)));
}

TEST_F(BundleTest, KeepsItsPathAsGivenWithoutSlashesAtTheEnd) {
  const std::string path = builder("Foo.vanto", BundleLayout::Contents, "contents").build();
  EXPECT_EQ(bundleAt(path + "///")->bundlePath()->text(), path);
  const std::string roundabout = directory_ / "./Foo.vanto";
  EXPECT_EQ(bundleAt(roundabout)->bundlePath()->text(), roundabout);
}

TEST_F(BundleTest, HasAPlainExecutablePathHoweverManySlashesItsPathHas) {
  builder("Foo.vanto", BundleLayout::Contents, "contents").executable("Foo").resource("a.txt", "a").build();
  const std::string roundabout = "/" + directory_.path() + "//Foo.vanto";
  const Ref<Bundle> bundle = bundleAt(roundabout);
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->bundlePath()->text(), roundabout);
  EXPECT_EQ(bundle->executablePath()->text(), directory_ / "Foo.vanto/Contents/Linux/Foo");
  EXPECT_EQ(bundle->urlForResource("a", "txt")->path()->text(), directory_ / "Foo.vanto/Contents/Resources/a.txt");
}

TEST_F(BundleTest, KeepsItsPathWhenTheGivenStringChanges) {
  const std::string path = builder("Foo.vanto", BundleLayout::Contents, "contents").build();
  const Ref<PlistMutableString> given = PlistMutableString::create(path);
  const Ref<Bundle> bundle = Bundle::create(*given);
  given->append(*PlistString::create("/elsewhere"));
  EXPECT_EQ(bundle->bundlePath()->text(), path);
}

TEST_F(BundleTest, WorksThroughASymbolicLink) {
  BundleBuilder real = builder("Real.vanto", BundleLayout::Contents, "real").executable("Foo").resource("a.txt", "a");
  fs::create_directory_symlink(real.build(), directory_ / "Link.vanto");
  const Ref<Bundle> bundle = bundleAt(directory_ / "Link.vanto");
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->bundlePath()->text(), directory_ / "Link.vanto");
  EXPECT_EQ(bundle->executablePath()->text(), directory_ / "Link.vanto/Contents/Linux/Foo");
  EXPECT_EQ(bundle->urlForResource("a", "txt")->path()->text(), directory_ / "Link.vanto/Contents/Resources/a.txt");
}

TEST_F(BundleTest, WorksWithAnInfoFileThatIsALink) {
  const BundleBuilder contents(directory_.path(), "Foo.vanto");
  fs::create_directories(directory_ / "Foo.vanto/Contents");
  const std::string other = builder("Other.vanto", BundleLayout::Flat, "other").build();
  fs::create_symlink(other + "/Info.plist", contents.infoPath());
  EXPECT_EQ(bundleAt(contents.path())->bundleIdentifier()->text(), "other");
}

TEST_F(BundleTest, StaysWhatItIsWhenTheWorkingDirectoryChanges) {
  builder("Foo.vanto", BundleLayout::Contents, "contents").executable("Foo").resource("a", "a").build();
  const fs::path before = fs::current_path();
  fs::current_path(directory_.path());
  const Ref<Bundle> bundle = bundleAt("Foo.vanto/");
  fs::current_path(before);
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->bundlePath()->text(), "Foo.vanto");
  EXPECT_EQ(bundle->resourcePath()->text(), directory_ / "Foo.vanto/Contents/Resources");
  EXPECT_EQ(bundle->executablePath()->text(), directory_ / "Foo.vanto/Contents/Linux/Foo");
  EXPECT_EQ(bundle->urlForResource("a", "")->path()->text(), directory_ / "Foo.vanto/Contents/Resources/a");
}

TEST_F(BundleTest, NamesItsFilesWithoutGoingUpWhenItsPathGoesUp) {
  fs::create_directories(directory_ / "far/inner");
  BundleBuilder(directory_ / "far", "Foo.vanto").executable("Foo").resource("a", "a").build();
  fs::create_directory_symlink(directory_ / "far/inner", directory_ / "link");
  const Ref<Bundle> bundle = bundleAt(directory_ / "link/../Foo.vanto");
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->bundlePath()->text(), directory_ / "link/../Foo.vanto");
  EXPECT_EQ(bundle->executablePath()->text(), directory_ / "far/Foo.vanto/Contents/Linux/Foo");
  EXPECT_EQ(bundle->urlForResource("a", "")->path()->text(), directory_ / "far/Foo.vanto/Contents/Resources/a");
}

TEST_F(BundleTest, IsNotMadeWhereADirectoryAboveARelativePathHasANameThatIsNoText) {
  const std::string odd = directory_ / "\xff";
  fs::create_directory(odd);
  BundleBuilder(odd, "Foo.vanto").build();
  const fs::path before = fs::current_path();
  fs::current_path(odd);
  const Ref<Bundle> bundle = bundleAt("Foo.vanto");
  fs::current_path(before);
  EXPECT_FALSE(bundle);
}

TEST_F(BundleTest, WorksWithTheLongestNamesAndWithLongPaths) {
  const std::string name(249, 'n');
  BundleBuilder(directory_.path(), name + ".vanto").executable(std::string(255, 'x')).build();
  const Ref<Bundle> bundle = bundleAt(directory_ / (name + ".vanto"));
  ASSERT_TRUE(bundle);
  EXPECT_EQ(BundleBuilder(directory_.path(), name + ".vanto").executablePath(std::string(255, 'x')),
            bundle->executablePath()->text());

  std::string deep = directory_.path();
  while (deep.size() < 3700) deep += "/" + std::string(200, 'd');
  EXPECT_TRUE(bundleAt(BundleBuilder(deep, "Foo.vanto").build()));
}

TEST_F(BundleTest, IsNotMadeWhereThePathIsLongerThanAnyFilesCanBe) {
  EXPECT_FALSE(bundleAt(directory_ / std::string(256, 'n')));
  EXPECT_FALSE(bundleAt(directory_ / std::string(5000, 'n')));
  std::string deep = directory_.path();
  while (deep.size() < 100'000) deep += "/" + std::string(200, 'd');
  EXPECT_FALSE(bundleAt(deep));
}

TEST_F(BundleTest, HasNoIdentifierUnlessTheInfoDictionaryHasAString) {
  EXPECT_EQ(bundleAt(BundleBuilder(directory_.path(), "None.vanto").build())->bundleIdentifier(), nullptr);
  BundleBuilder number(directory_.path(), "Number.vanto");
  number.entry("KorBundleIdentifier", BundleBuilder::integer(7));
  EXPECT_EQ(bundleAt(number.build())->bundleIdentifier(), nullptr);
}

TEST_F(BundleTest, IsATemporaryWhenAskedForByPathOrURL) {
  const Ref<PlistString> path = PlistString::create(builder("Foo.vanto", BundleLayout::Contents, "foo").build());
  Ref<Bundle> byPath;
  Ref<Bundle> byURL;
  {
    const TemporaryScope scope;
    byPath = Ref<Bundle>::share(Bundle::bundleWithPath(path.get()));
    byURL = Ref<Bundle>::share(Bundle::bundleWithURL(KorURL::create(*path, true).get()));
    EXPECT_EQ(byPath->referenceCount(), 2U);
  }
  EXPECT_EQ(byPath->referenceCount(), 1U);
  EXPECT_EQ(byURL->referenceCount(), 1U);
  EXPECT_EQ(byURL->bundlePath()->text(), path->text());
}

TEST_F(BundleTest, IsNotMadeFromNothing) {
  EXPECT_EQ(Bundle::bundleWithPath(nullptr), nullptr);
  EXPECT_EQ(Bundle::bundleWithURL(nullptr), nullptr);
  EXPECT_EQ(Bundle::bundleWithPath(PlistString::create(directory_ / "none.vanto").get()), nullptr);
}

TEST_F(BundleTest, DescribesItselfByItsPath) {
  const std::string path = builder("Foo.vanto", BundleLayout::Contents, "foo").build();
  EXPECT_EQ(bundleAt(path)->description()->text(), "Bundle " + path);
}

TEST_F(BundleTest, IsAnObjectOfItsOwnClass) {
  const Ref<Bundle> bundle = bundleAt(builder("Foo.vanto", BundleLayout::Contents, "foo").build());
  EXPECT_STREQ(bundle->runtimeClass().name, "Bundle");
  EXPECT_EQ(as<Bundle>(bundle.get()), bundle.get());
  EXPECT_EQ(as<PlistString>(bundle.get()), nullptr);
  EXPECT_FALSE(bundle->isEqual(bundleAt(bundle->bundlePath()->text()).get()));
}

}  // namespace
}  // namespace vanto

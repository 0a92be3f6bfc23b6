// SPDX-License-Identifier: Apache-2.0
#include "vanto/InfoFile.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "support/BundleBuilder.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using test::BundleLayout;

class InfoFileTest : public ::testing::Test {
 protected:
  const test::TemporaryDirectory directory_;

 private:
  const TemporaryScope scope_;
};

TEST_F(InfoFileTest, IsFoundInEachLayout) {
  const std::pair<const char*, BundleLayout> layouts[] = {
      {"A.app", BundleLayout::Contents}, {"B.framework", BundleLayout::Framework}, {"C.vanto", BundleLayout::Flat}};
  for (const auto& [name, layout] : layouts) {
    BundleBuilder bundle(directory_.path(), name, layout);
    bundle.identifier("x").build();
    const InfoFile info = InfoFile::of(bundle.path());
    EXPECT_EQ(info.path, bundle.infoPath());
    EXPECT_TRUE(info.exists);
    EXPECT_TRUE(info.dictionary);
    EXPECT_EQ(info.problem, "");
  }
}

TEST_F(InfoFileTest, HasAPlaceWhereItIsMissing) {
  const InfoFile info = InfoFile::of(directory_ / "None.vanto");
  EXPECT_FALSE(info.exists);
  EXPECT_EQ(info.path, directory_ / "None.vanto/Contents/Info.plist");
  EXPECT_EQ(info.problem, "does not exist");
}

TEST_F(InfoFileTest, TellsWhereItIsDamaged) {
  BundleBuilder bundle(directory_.path(), "A.vanto");
  bundle.info("<plist>\n<dict><key>a</key></dict></plist>").build();
  const InfoFile info = InfoFile::of(bundle.path());
  EXPECT_FALSE(info.dictionary);
  EXPECT_TRUE(info.complaint().starts_with(bundle.infoPath() + ":2:")) << info.complaint();
}

TEST_F(InfoFileTest, IsADictionaryInARegularFile) {
  BundleBuilder array(directory_.path(), "A.vanto");
  array.info("<plist><array/></plist>").build();
  EXPECT_EQ(InfoFile::of(array.path()).problem, "is no dictionary");
  std::filesystem::create_directories(directory_ / "B.vanto/Contents/Info.plist");
  EXPECT_EQ(InfoFile::of(directory_ / "B.vanto").problem, "is no regular file");
}

TEST_F(InfoFileTest, SaysWhyABundleIsNoService) {
  const std::string place = directory_.path();
  BundleBuilder good(place, "Good.vanto");
  good.service().build();
  EXPECT_EQ(whyNoService(good.path()), "");
  EXPECT_EQ(whyNotTaken(good.path()), good.path() + ": changed while it was read; try again");
  EXPECT_EQ(whyNotTaken(place + "/None.vanto"), place + "/None.vanto: No such file or directory");
  EXPECT_EQ(whyNoService(place + "/None.vanto"), place + "/None.vanto: No such file or directory");
  std::ofstream(place + "/File.vanto").close();
  EXPECT_EQ(whyNoService(place + "/File.vanto"), place + "/File.vanto: is no directory");
  EXPECT_EQ(whyNoService(place + "/A.app"), place + "/A.app: the name of a service bundle ends in .vanto");
  EXPECT_EQ(whyNoService("\xff.vanto"), "\\xff.vanto: the path is not UTF-8, which bundles need");
  BundleBuilder plain(place, "Plain.vanto");
  plain.identifier("x").build();
  EXPECT_EQ(whyNoService(plain.path()),
            plain.infoPath() + ": VantoService: is missing; without it the bundle is no service");
  BundleBuilder empty(place, "Empty.vanto");
  empty.withoutInfo().build();
  EXPECT_EQ(whyNoService(empty.path()), empty.infoPath() + ": does not exist");
  BundleBuilder damaged(place, "Damaged.vanto");
  damaged.info("nonsense").build();
  EXPECT_TRUE(whyNoService(damaged.path()).starts_with(damaged.infoPath() + ":1:1: ")) << whyNoService(damaged.path());
}

}  // namespace
}  // namespace vanto::tool

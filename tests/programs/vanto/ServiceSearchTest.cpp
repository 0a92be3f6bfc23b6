// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceSearch.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "support/BundleBuilder.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using test::BundleLayout;
using Paths = std::vector<std::string>;

class ServiceSearchTest : public ::testing::Test {
 protected:
  /// A host bundle with services of these names.
  std::string host(const char* name, BundleLayout layout, const Paths& services) const {
    BundleBuilder bundle(directory_.path(), name, layout);
    bundle.identifier("host").build();
    for (const std::string& service : services) BundleBuilder(bundle.servicesPath(), service).service().build();
    return bundle.path();
  }
  static Paths found(const Paths& arguments) {
    ServiceSearch search;
    search.add(arguments);
    EXPECT_EQ(search.problems(), Paths{});
    return search.paths();
  }
  static Paths problems(const Paths& arguments) {
    ServiceSearch search;
    search.add(arguments);
    return search.problems();
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(ServiceSearchTest, FindsTheServicesOfAHostBundleInOrder) {
  const std::string path = host("Mail.app", BundleLayout::Contents, {"b.vanto", "a.vanto", "no.app"});
  const std::string services = path + "/Contents/VantoServices/";
  EXPECT_EQ(found({path}), (Paths{services + "a.vanto", services + "b.vanto"}));
  EXPECT_EQ(found({path + "/"}), found({path}));
}

TEST_F(ServiceSearchTest, FindsThoseOfAFramework) {
  const std::string path = host("Mail.framework", BundleLayout::Framework, {"a.vanto"});
  EXPECT_EQ(found({path}), Paths{path + "/VantoServices/a.vanto"});
}

TEST_F(ServiceSearchTest, FindsThoseBesideAFlatBundle) {
  const std::string path = host("Mail.app", BundleLayout::Flat, {"a.vanto"});
  EXPECT_EQ(found({path}), Paths{directory_ / "VantoServices/a.vanto"});
}

TEST_F(ServiceSearchTest, TakesAServiceBundleForItselfWhateverIsInIt) {
  EXPECT_EQ(found({"/none/A.vanto/"}), Paths{"/none/A.vanto"});
}

TEST_F(ServiceSearchTest, FindsServicesInADirectoryAndThoseOfItsHostBundles) {
  const std::string path = host("Mail.app", BundleLayout::Contents, {"a.vanto"});
  BundleBuilder(directory_.path(), "Own.vanto").service().build();
  std::filesystem::create_directory(directory_ / "plain");
  std::filesystem::create_directory(directory_ / "dotted.name");
  EXPECT_EQ(found({directory_.path()}), (Paths{path + "/Contents/VantoServices/a.vanto", directory_ / "Own.vanto"}));
}

TEST_F(ServiceSearchTest, FindsNothingTwice) {
  const std::string path = host("Mail.app", BundleLayout::Contents, {"a.vanto"});
  EXPECT_EQ(found({path, path, path + "/Contents/VantoServices", directory_.path()}).size(), 1U);
}

TEST_F(ServiceSearchTest, FindsNothingInAHostWithoutServices) {
  EXPECT_EQ(found({host("Mail.app", BundleLayout::Contents, {})}), Paths{});
  const std::string path = host("Web.app", BundleLayout::Contents, {});
  std::filesystem::remove(path + "/Contents/VantoServices");
  EXPECT_EQ(found({path}), Paths{});
}

TEST_F(ServiceSearchTest, TellsOfPlacesThatCannotBeListedAndGoesOn) {
  const std::string path = host("Mail.app", BundleLayout::Contents, {"a.vanto"});
  ServiceSearch search;
  search.add({directory_ / "no\x1bne", path});
  EXPECT_EQ(search.problems(), Paths{directory_.path() + "/no\\x1bne: cannot be listed: No such file or directory"});
  EXPECT_EQ(search.paths().size(), 1U);
}

TEST_F(ServiceSearchTest, TellsOfADamagedHostBundle) {
  BundleBuilder bundle(directory_.path(), "Bad.app");
  bundle.info("nonsense").build();
  ASSERT_EQ(problems({bundle.path()}).size(), 1U);
  EXPECT_TRUE(problems({bundle.path()})[0].starts_with(bundle.infoPath() + ":1:1: "));
}

}  // namespace
}  // namespace vanto::tool

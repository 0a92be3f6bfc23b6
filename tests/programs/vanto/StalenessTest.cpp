// SPDX-License-Identifier: Apache-2.0
#include "vanto/Staleness.h"

#include <filesystem>

#include "programs/vanto/ServiceFixture.h"
#include "support/Values.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;

class StalenessTest : public testing::ServiceFixture {
 protected:
  [[nodiscard]] std::string now() const {
    const Staleness staleness = Staleness::of(bundle_.path(), archive_);
    return staleness.state.empty() ? "" : staleness.state + ": " + shortened(staleness.reason);
  }

  PlistMutableDictionary* archive_ = service().archiveForCache();
};

TEST_F(StalenessTest, IsNoneWhileNothingChanges) {
  EXPECT_EQ(now(), "");
  bundle_.build();
  EXPECT_EQ(now(), "");
}

TEST_F(StalenessTest, NamesTheKeysThatChanged) {
  bundle_.serviceEntry("RunLoopType", "<string>QelRunLoop</string>").serviceEntry("a.b", "<true/>").build();
  EXPECT_EQ(now(), "changed: service dictionary differs (RunLoopType, \"a.b\")");
}

TEST_F(StalenessTest, NamesWhatElseChanged) {
  BundleBuilder(directory_.path(), "A.vanto")
      .identifier("b")
      .serviceEntry("ServiceType", "<string>User</string>")
      .build();
  EXPECT_EQ(now(), "changed: identifier differs; executable is missing now");
}

TEST_F(StalenessTest, IsGoneOrDamaged) {
  BundleBuilder(directory_.path(), "A.vanto").info("x").build();
  EXPECT_TRUE(now().starts_with("damaged: it is no service: DIR/A.vanto/Contents/Info.plist:1:1: ")) << now();
  std::filesystem::remove_all(bundle_.path());
  EXPECT_EQ(now(), "gone: there is nothing any more");
}

TEST_F(StalenessTest, IsAChangeForAnArchiveOfAnotherKind) {
  EXPECT_EQ(Staleness::of(bundle_.path(), testing::number(1)).state, "changed");
  EXPECT_EQ(Staleness::of(bundle_.path(), nullptr).state, "changed");
  EXPECT_EQ(Staleness::of(bundle_.path(), testing::dictionary({})).reason,
            "identifier was missing; executable was missing; service dictionary was missing");
}

TEST_F(StalenessTest, ComparesTypeAndJobToo) {
  archive_->setValueForKey(testing::number(3), testing::string("_serviceType"));
  EXPECT_EQ(now(), "changed: service type differs");
}

}  // namespace
}  // namespace vanto::tool

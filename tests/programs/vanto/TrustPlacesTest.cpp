// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustPlaces.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

class TrustPlacesTest : public testing::CodeFixture {
 protected:
  testing::CapturedConsole captured_;
  TrustPlaces places_;
};

TEST_F(TrustPlacesTest, ReadTheMachinesAndTheUsers) {
  places_.system = directory_ / "system";
  mkdir(places_.system.c_str(), 0755);
  testing::writeContents(places_.system + "/next.plist", testing::keyFile("next", next_).bytes);
  trustAcme();
  const code::TrustStore store = places_.read(captured_.console());
  EXPECT_EQ(store.entries().size(), 2U);
  EXPECT_EQ(captured_.messages(), "");
}

TEST_F(TrustPlacesTest, ChangeTheMachinesWhenAskedTo) {
  places_.system = directory_ / "a/b";
  EXPECT_EQ(places_.fileNamed("x"), trustPath_ + "/x.plist");
  places_.isSystem = true;
  EXPECT_TRUE(places_.make(captured_.console()));
  EXPECT_EQ(places_.fileNamed("x"), places_.system + "/x.plist");
  EXPECT_TRUE(places_.readChanged(captured_.console()).isUsable);
  struct stat status;
  ASSERT_EQ(stat(places_.system.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 022, 0U);
}

TEST_F(TrustPlacesTest, AreNoneOfAUserWithoutAHome) {
  places_.user.clear();
  EXPECT_FALSE(places_.make(captured_.console()));
  EXPECT_EQ(captured_.messages(),
            "vanto: there is no HOME to keep trusted keys in; --system keeps them for the machine\n");
}

TEST_F(TrustPlacesTest, DescribeASigner) {
  EXPECT_EQ(describeSigner({"f", "a", "b\x1b"}, "f"), "a, b\\x1b (f)");
  EXPECT_EQ(describeSigner({}, "f"), "f");
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceSummary.h"

#include "programs/vanto/ServiceFixture.h"
#include "vanto/ServiceTypeName.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;

class ServiceSummaryTest : public testing::ServiceFixture {};

TEST_F(ServiceSummaryTest, HasACellForEachColumn) {
  EXPECT_EQ(ServiceSummary::row(service(), "/p\n"), (Row{"org.example.a", "User", "/p\\n"}));
  EXPECT_EQ(ServiceSummary::headline().size(), 3U);
}

TEST_F(ServiceSummaryTest, HasADashForWhatThereIsNot) {
  BundleBuilder(directory_.path(), "A.vanto").service().build();
  EXPECT_EQ(ServiceSummary::row(service(), "/p"), (Row{"-", "-", "/p"}));
}

TEST_F(ServiceSummaryTest, HasInJsonWhatThereIs) {
  EXPECT_EQ(ServiceSummary::dictionary(service(), "/p")->count(), 4U);
  BundleBuilder(directory_.path(), "A.vanto").service().build();
  EXPECT_EQ(ServiceSummary::dictionary(service(), "/p")->count(), 1U);
}

TEST_F(ServiceSummaryTest, EscapesTextThatIsNoUtf8) {
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setText(*dictionary, "a", "\xff");
  setText(*dictionary, "b", "\n");
  EXPECT_EQ(as<PlistString>(dictionary->valueForKey("a"))->text(), "\\xff");
  EXPECT_EQ(as<PlistString>(dictionary->valueForKey("b"))->text(), "\n");
}

TEST(ServiceTypeName, IsThatOfTheServiceDictionary) {
  EXPECT_STREQ(serviceTypeName(VantoServiceTypeUser), "User");
  EXPECT_STREQ(serviceTypeName(VantoServiceTypeSession), "Session");
  EXPECT_STREQ(serviceTypeName(VantoServiceTypeSystem), "System");
  EXPECT_STREQ(serviceTypeName(VantoServiceTypeNone), "-");
  EXPECT_STREQ(serviceTypeName(99), "-");
}

}  // namespace
}  // namespace vanto::tool

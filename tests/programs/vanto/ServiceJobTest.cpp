// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceJob.h"

#include "programs/vanto/ServiceFixture.h"
#include "support/Values.h"

namespace vanto::tool {
namespace {

using testing::array;
using testing::dictionary;
using testing::string;

class ServiceJobTest : public testing::ServiceFixture {};

TEST_F(ServiceJobTest, IsThatOfTheBundle) {
  std::string problem;
  const PlistDictionary* job = jobAt(bundle_.path(), problem);
  ASSERT_NE(job, nullptr) << problem;
  EXPECT_EQ(as<PlistString>(job->valueForKey("Label"))->text(), "org.example.a");
  EXPECT_EQ(executableOfJob(*job), bundle_.executablePath("a"));
}

TEST_F(ServiceJobTest, IsNoneForABundleWithoutOne) {
  std::string problem;
  test::BundleBuilder(directory_.path(), "B.vanto").service().build();
  EXPECT_EQ(jobAt(directory_ / "B.vanto", problem), nullptr);
  EXPECT_EQ(shortened(problem),
            "DIR/B.vanto: has no job, for want of an identifier or an executable; vanto lint says more");
  EXPECT_EQ(jobAt(directory_ / "none.vanto", problem), nullptr);
  EXPECT_NE(problem.find("none.vanto"), problem.npos);
}

TEST_F(ServiceJobTest, HasNoExecutableWithoutTheArgumentThatNamesIt) {
  PlistString* key = string("ProgramArguments");
  EXPECT_EQ(executableOfJob(*dictionary({})), "");
  EXPECT_EQ(executableOfJob(*dictionary({{key, string("x")}})), "");
  EXPECT_EQ(executableOfJob(*dictionary({{key, array({string("x")})}})), "");
  EXPECT_EQ(executableOfJob(*dictionary({{key, array({string("x"), testing::number(1)})}})), "");
  EXPECT_EQ(executableOfJob(*dictionary({{key, array({string("x"), string("y")})}})), "y");
}

}  // namespace
}  // namespace vanto::tool

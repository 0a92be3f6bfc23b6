// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobLabel.h"

#include <filesystem>

#include "programs/vanto/ServiceFixture.h"

namespace vanto::tool {
namespace {

class JobLabelTest : public testing::ServiceFixture {};

TEST_F(JobLabelTest, IsTheArgument) {
  std::string problem;
  EXPECT_EQ(labelOf("org.example.a", problem), "org.example.a");
  EXPECT_EQ(labelOf("org.example.vanto", problem), "org.example.vanto");
  EXPECT_EQ(labelOf("a\nb", problem), "a\nb");
}

TEST_F(JobLabelTest, IsTheIdentifierOfABundle) {
  std::string problem;
  EXPECT_EQ(labelOf(bundle_.path(), problem), "org.example.a");
  EXPECT_EQ(labelOf(bundle_.path() + "/", problem), "org.example.a");
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  EXPECT_EQ(labelOf("A.vanto", problem), "org.example.a");
  std::filesystem::current_path(before);
}

TEST_F(JobLabelTest, IsNoneForWhatHasNone) {
  std::string problem;
  EXPECT_FALSE(labelOf("", problem));
  EXPECT_EQ(problem, "a label cannot be empty");
  EXPECT_FALSE(labelOf("\xff", problem));
  EXPECT_EQ(problem, "\\xff: is no label, for it is not UTF-8");
  EXPECT_FALSE(labelOf(directory_ / "none.vanto", problem));
  EXPECT_NE(problem.find("none.vanto"), problem.npos);
  test::BundleBuilder(directory_.path(), "B.vanto").executable("b").service().build();
  EXPECT_FALSE(labelOf(directory_ / "B.vanto", problem));
  EXPECT_EQ(shortened(problem), "DIR/B.vanto: has no identifier, and so no label");
}

}  // namespace
}  // namespace vanto::tool

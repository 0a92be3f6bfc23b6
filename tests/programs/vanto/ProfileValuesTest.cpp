// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileValues.h"

#include <filesystem>

#include "programs/vanto/ServiceFixture.h"
#include "sandbox/Profile.h"
#include "vanto/HomeDirectory.h"

namespace vanto::tool {
namespace {

class ProfileValuesTest : public testing::ServiceFixture {};

TEST_F(ProfileValuesTest, AreThoseOfTheService) {
  std::string problem;
  const auto values = ProfileValues::of({bundle_.path(), {}}, problem);
  ASSERT_TRUE(values) << problem;
  EXPECT_EQ(values->parameters.at("VantoService_identifier"), "org.example.a");
  EXPECT_EQ(values->parameters.at("VantoService_path"), std::filesystem::canonical(bundle_.path()).string());
  EXPECT_EQ(values->parameters.at("VantoService_home"), homeDirectory(problem));
  EXPECT_TRUE(values->placeholders.empty());
}

TEST_F(ProfileValuesTest, AreWhatIsSaidBeforeAllElse) {
  std::string problem;
  const auto values = ProfileValues::of({bundle_.path(), {"VantoService_home=/a=b"}}, problem);
  ASSERT_TRUE(values) << problem;
  EXPECT_EQ(values->parameters.at("VantoService_home"), "/a=b");
}

TEST_F(ProfileValuesTest, AreTheirOwnNamesOtherwise) {
  std::string problem;
  const auto values = ProfileValues::of({"", {"VantoService_home=/h"}}, problem);
  ASSERT_TRUE(values) << problem;
  EXPECT_EQ(values->parameters.at("VantoService_path"), "/${VantoService_path}");
  EXPECT_EQ(values->parameters.at("VantoService_identifier"), "${VantoService_identifier}");
  EXPECT_EQ(values->placeholders.size(), 2U);
  EXPECT_TRUE(values->isPlaceholderIn("/x/${VantoService_identifier}"));
  EXPECT_FALSE(values->isPlaceholderIn("/h/x"));
}

TEST_F(ProfileValuesTest, KnowWhichServiceTheyAreOf) {
  std::string problem;
  EXPECT_EQ(ProfileValues::of({bundle_.path(), {}}, problem)->identifier(), "org.example.a");
  EXPECT_EQ(ProfileValues::of({"", {"VantoService_identifier=b"}}, problem)->identifier(), "b");
  EXPECT_EQ(ProfileValues::of({}, problem)->identifier(), "");
}

TEST_F(ProfileValuesTest, NameThePlaceholdersOfAPolicy) {
  std::string problem;
  const auto values = ProfileValues::of({}, problem);
  ASSERT_TRUE(values);
  const ProfileResult result =
      compileProfile("allow read ${VantoService_home}/${VantoService_identifier}\n", values->parameters);
  ASSERT_TRUE(result.policy);
  EXPECT_EQ(values->placeholdersIn(*result.policy, Right::Read), "VantoService_home, VantoService_identifier");
  EXPECT_EQ(values->placeholdersIn(*result.policy, Right::Write), "");
}

TEST_F(ProfileValuesTest, AreNoneForBadOnes) {
  for (const ProfileChoice& choice :
       {ProfileChoice{"", {"x"}}, ProfileChoice{"", {"=x"}}, ProfileChoice{"", {"x=y"}}, ProfileChoice{"/none", {}}}) {
    std::string problem;
    EXPECT_FALSE(ProfileValues::of(choice, problem));
    EXPECT_NE(problem, "");
  }
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/LearnedProfile.h"

#include <gtest/gtest.h>

#include "sandbox/PolicyBuilder.h"
#include "sandbox/PolicyText.h"
#include "sandbox/Profile.h"
#include "value/limits.h"

namespace vanto::tool {
namespace {

TEST(LearnedProfile, HasCommentsThenThePolicy) {
  PolicyBuilder builder;
  ASSERT_EQ(builder.allowPath("/a b", Right::Read, {}), PolicyBuilder::Outcome::Added);
  LearnedPolicy policy;
  policy.policy = builder.take();
  policy.includesBase = true;
  policy.remarks = {"second", "first"};
  EXPECT_EQ(profileTextOf(policy, {"cat", "a b"}),
            "# What one run did of: cat \"a b\"\n"
            "# Another run may do more. Look at each line before a service is confined by it.\n"
            "# first.\n"
            "# second.\n"
            "version 1\n"
            "include base\n"
            "allow read \"/a b\"\n"
            "network none\n");
}

TEST(LearnedProfile, CompilesToItsPolicyWhateverTheWordsHold) {
  const std::string bytes = "/n\n\r\t\"'\\ $ ${VantoService_path} # \x01\x7f\xff\xc3\xa4";
  PolicyBuilder builder;
  for (const std::string& path : {bytes, std::string("/#"), std::string("/\xc3\xa4 \xe2\x80\xae")}) {
    ASSERT_EQ(builder.allowPath(path, Right::Read, {}), PolicyBuilder::Outcome::Added);
  }
  LearnedPolicy policy;
  policy.policy = builder.take();
  const ProfileResult result = compileProfile(profileTextOf(policy, {bytes, "", "\n"}), {});
  ASSERT_TRUE(result.policy.has_value()) << result.errors.summary("x");
  EXPECT_EQ(textOf(*result.policy), textOf(policy.policy));
}

TEST(LearnedProfile, CutsCommentsThatAreLongerThanALine) {
  std::string word;
  while (word.size() < limits::profileLineBytes) word += "\xc3\xa4";
  for (const char* shift : {"", "x"}) {
    const ProfileResult result = compileProfile(profileTextOf({}, {shift + word}), {});
    EXPECT_TRUE(result.policy.has_value()) << result.errors.summary("x");
  }
}

}  // namespace
}  // namespace vanto::tool

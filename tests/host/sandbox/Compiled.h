// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "sandbox/Profile.h"

namespace vanto::testing {

/// `text` with a line feed at its end, which profiles need and tests are easier to read without.
inline std::string ended(std::string_view text) {
  return std::string(text) + (text.empty() || text.ends_with('\n') ? "" : "\n");
}

/// The policy of a profile without errors, whose text may lack the line feed at its end; with some the test fails, and
/// the policy is an empty one.
inline Policy compiled(std::string_view text, const ProfileParameters& parameters = {}) {
  ProfileResult result = compileProfile(ended(text), parameters);
  EXPECT_EQ(result.errors.summary("p"), "") << text;
  return result.policy ? *std::move(result.policy) : Policy();
}

/// What is said of a profile with errors, whose text may lack the line feed; the test fails when there is a policy.
inline std::string refusal(std::string_view text, const ProfileParameters& parameters = {}) {
  const ProfileResult result = compileProfile(ended(text), parameters);
  EXPECT_FALSE(result.policy.has_value()) << text;
  return result.errors.summary("p");
}

}  // namespace vanto::testing

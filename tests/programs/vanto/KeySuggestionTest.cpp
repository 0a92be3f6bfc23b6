// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeySuggestion.h"

#include <string>

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

constexpr std::string_view known[] = {"ServiceType", "RunLoopType", "_SandboxProfile", "User"};

TEST(KeySuggestion, FindsWhatWasMeant) {
  EXPECT_EQ(suggestedKey("Servicetype", known), "ServiceType");
  EXPECT_EQ(suggestedKey("SandboxProfile", known), "_SandboxProfile");
  EXPECT_EQ(suggestedKey("_SandboxProfle", known), "_SandboxProfile");
  EXPECT_EQ(suggestedKey("RunloopTyp", known), "RunLoopType");
  EXPECT_EQ(suggestedKey("user", known), "User");
}

TEST(KeySuggestion, FindsNothingFarAway) {
  EXPECT_EQ(suggestedKey("Colour", known), "");
  EXPECT_EQ(suggestedKey("", known), "");
  EXPECT_EQ(suggestedKey("Us", known), "");
  EXPECT_EQ(suggestedKey(std::string(100'000, 'S'), known), "");
}

}  // namespace
}  // namespace vanto::tool

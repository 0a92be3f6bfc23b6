// SPDX-License-Identifier: Apache-2.0
#include "vanto/StageText.h"

#include <set>

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(StageText, SaysWhatEachStageMeansAndWhatToDo) {
  std::set<std::string_view> meanings;
  for (const char* stage :
       {"held", "pause", "limit", "resources", "proxy", "call", "handover", "descriptors", "state", "executable",
        "execution", "listening", "confinement", "greeting", "serving", "removed", "manager"}) {
    const StageText& text = StageText::of(stage);
    EXPECT_EQ(text.stage, stage);
    EXPECT_FALSE(text.remedy.empty()) << stage;
    EXPECT_TRUE(meanings.insert(text.meaning).second) << stage;
  }
}

TEST(StageText, KnowsThatItDoesNotKnow) {
  EXPECT_EQ(StageText::of("nonsense").stage, "");
  EXPECT_EQ(StageText::of("nonsense").meaning, "this tool does not know this stage");
}

}  // namespace
}  // namespace vanto::tool

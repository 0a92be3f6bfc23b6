// SPDX-License-Identifier: Apache-2.0
#include "vanto/KernelOutlook.h"

#include "host/sandbox/Compiled.h"

namespace vanto::tool {
namespace {

std::vector<KernelOutlook> outlooksOfText(const char* text) {
  return outlooksOf(vanto::testing::compiled(text));
}

TEST(KernelOutlook, ChangesWithTheVersionsThatBringRights) {
  std::vector<std::string> versions;
  for (const KernelOutlook& outlook : outlooksOfText("")) versions.push_back(outlook.linuxVersion);
  EXPECT_EQ(versions, (std::vector<std::string>{"", "5.13", "6.2", "6.10", "6.12", "7.1"}));
}

TEST(KernelOutlook, HasPortsOfItsOwnWhenSomeAreAllowed) {
  const std::vector<KernelOutlook> outlooks = outlooksOfText("allow connect tcp 443");
  ASSERT_EQ(outlooks.size(), 7U);
  EXPECT_TRUE(outlooks[2].open.contains(Right::Connect));
  EXPECT_EQ(outlooks[3].linuxVersion, "6.7");
  EXPECT_FALSE(outlooks[3].open.contains(Right::Connect));
  EXPECT_TRUE(outlooks.back().open.isEmpty());
}

TEST(KernelOutlook, NamesWhatIsRefusedAndWhatIsUnmet) {
  const std::vector<KernelOutlook> outlooks = outlooksOfText("allow rename /tmp\nrequire truncate");
  EXPECT_EQ(outlooks[1].withheld, RightSet(Right::Rename));
  EXPECT_EQ(outlooks[1].unmet, RightSet(Right::Truncate));
  EXPECT_TRUE(outlooks.back().withheld.isEmpty());
  EXPECT_TRUE(outlooks.back().unmet.isEmpty());
}

TEST(KernelOutlook, IsThatNothingIsEnteredWithoutLandlockOrWithAnUnmetRequirement) {
  const std::vector<KernelOutlook> outlooks = outlooksOfText("allow processes\nrequire truncate");
  EXPECT_FALSE(outlooks[0].isEntered);
  EXPECT_TRUE(outlooks[0].open.contains(Right::System));
  EXPECT_FALSE(outlooks[1].isEntered);
  EXPECT_TRUE(outlooks.back().isEntered);
}

TEST(KernelOutlook, SaysUpToWhichKernelSomethingIsOpen) {
  EXPECT_EQ(openingOf(outlooksOfText(""), Right::Signal), "Linux before 6.12 leaves it open");
  EXPECT_EQ(openingOf(outlooksOfText(""), Right::Network), "Linux before 5.13 leaves it open");
  EXPECT_EQ(openingOf(outlooksOfText("allow network"), Right::Network), "");
  const std::vector<KernelOutlook> never{{"", Right::Read, {}, {}, true}};
  EXPECT_EQ(openingOf(never, Right::Read), "no kernel can deny it");
}

}  // namespace
}  // namespace vanto::tool

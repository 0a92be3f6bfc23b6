// SPDX-License-Identifier: Apache-2.0
#include "tolvend/InstanceReceipt.h"

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

std::string lackOf(const char* text, ConfinementLevel floor = ConfinementLevel::Full) {
  const auto receipt = InstanceReceipt::read(text);
  EXPECT_TRUE(receipt) << text;
  return receipt ? shortfall(&*receipt, floor) : "";
}

TEST(InstanceReceipt, HasALevelAndItsLines) {
  const auto receipt = InstanceReceipt::read("level reduced\nasked read\nmissing ioctl: x\n");
  ASSERT_TRUE(receipt);
  EXPECT_EQ(receipt->level, ConfinementLevel::Reduced);
  EXPECT_EQ(receipt->text, "level reduced\nasked read\nmissing ioctl: x\n");
  EXPECT_EQ(InstanceReceipt::read("level full").value().text, "level full\n");
}

TEST(InstanceReceipt, IsFitForPeopleWhateverCame) {
  const std::string_view odd("level none\nerror \x1b[1m \xff \0 x\n\n\r", 29);
  const auto receipt = InstanceReceipt::read(odd);
  ASSERT_TRUE(receipt);
  EXPECT_EQ(receipt->text, "level none\nerror \\x1b[1m \\xff \\x00 x\n\n");
}

TEST(InstanceReceipt, IsNoneWithoutALevel) {
  for (const char* text : {"", "\n", "level", "level \n", "level high\n", "asked read\nlevel full\n", "Level full\n"}) {
    EXPECT_FALSE(InstanceReceipt::read(text)) << text;
  }
}

TEST(InstanceReceipt, SaysWhatIsMissing) {
  EXPECT_EQ(lackOf("level reduced\nmissing ioctl: too old\nwithheld rename: x\nmissing socket: older\n"),
            "confined in part (the manager demands full): missing ioctl: too old; socket: older");
  EXPECT_EQ(lackOf("level none\nerror a.sb:1:7: wrong\nmissing ioctl: x\n", ConfinementLevel::Reduced),
            "not confined (the manager demands reduced): a.sb:1:7: wrong");
  EXPECT_EQ(lackOf("level reduced\n"), "confined in part (the manager demands full)");
  EXPECT_EQ(shortfall(nullptr, ConfinementLevel::Reduced),
            "not confined (the manager demands reduced): no profile, or none that its library has told of");
}

TEST(InstanceReceipt, SaysItBrieflyAndInWholeCharacters) {
  for (std::size_t shift = 0; shift < 3; ++shift) {
    std::string text = "level none\nerror " + std::string(shift, 'x');
    for (int i = 0; i < 1000; ++i) text += "€";
    const std::string lack = lackOf(text.c_str());
    EXPECT_LE(lack.size(), 503U);
    EXPECT_TRUE(lack.ends_with("€...")) << lack;
  }
}

}  // namespace
}  // namespace vanto::manager

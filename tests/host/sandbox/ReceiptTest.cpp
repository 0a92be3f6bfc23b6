// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Receipt.h"

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::testing {
namespace {

TEST(Receipt, TellsEverythingInLines) {
  Receipt receipt;
  receipt.level = ConfinementLevel::Reduced;
  receipt.asked = RightSet(Right::Read) | Right::Socket;
  receipt.enforced = Right::Read;
  receipt.missing = {{Right::Socket, "why"}};
  receipt.withheld = {{Right::Rename, "because"}};
  receipt.absent = {{"/a b", "No such file or directory"}};
  receipt.witness = WitnessResult::Denied;
  receipt.witnessSubject = "list /";
  EXPECT_EQ(textOf(receipt),
            "level reduced\nasked read socket\nenforced read\nwitness denied: list /\nmissing socket: why\n"
            "withheld rename: because\nabsent \"/a b\": No such file or directory\n");
}

TEST(Receipt, TellsWhyAProfileWasNotEntered) {
  Receipt receipt;
  receipt.error = "p.sb:1:1: wrong";
  EXPECT_EQ(textOf(receipt), "level none\nerror p.sb:1:1: wrong\nasked \nenforced \nwitness untested\n");
  receipt.level = ConfinementLevel::Full;
  receipt.witness = WitnessResult::Allowed;
  EXPECT_EQ(textOf(receipt).substr(0, 11), "level full\n");
  EXPECT_NE(textOf(receipt).find("witness allowed\n"), std::string::npos);
}

TEST(Receipt, HasNoLinesThatAForeignTextHasMade) {
  Receipt receipt;
  receipt.error = "a\nlevel full\nb";
  receipt.absent = {{"/x\nlevel full", "no"}};
  const std::string text = textOf(receipt);
  EXPECT_EQ(text.find("\nlevel full"), std::string::npos) << text;
  EXPECT_NE(text.find("absent \"/x\\nlevel full\": no\n"), std::string::npos) << text;
}

TEST(Receipt, FitsIntoItsPacketAndCountsWhatIsLeftOut) {
  Receipt receipt;
  receipt.error = std::string(5000, 'e');
  for (int path = 0; path < 100; ++path) {
    receipt.absent.push_back({"/" + std::string(100, 'p') + std::to_string(path), "no"});
    const std::string text = textOf(receipt);
    EXPECT_LE(text.size(), limits::receiptBytes);
    EXPECT_EQ(text.substr(0, 17), "level none\nerror ");
    std::size_t shown = 0;
    for (std::size_t at = 0; (at = text.find("\nabsent ", at)) != std::string::npos; ++at) ++shown;
    const std::size_t left = receipt.absent.size() - shown;
    const std::string last = "\nmore " + std::to_string(left) + "\n";
    EXPECT_EQ(text.ends_with(last), left != 0) << text;
  }
}

TEST(Receipt, CutsAnErrorBetweenCharacters) {
  Receipt receipt;
  receipt.error = std::string(1023, 'e') + "\u00e4" + std::string(10, 'e');
  EXPECT_NE(textOf(receipt).find("error " + std::string(1023, 'e') + "...\n"), std::string::npos);
}

TEST(Receipt, KnowsTheLevelsByTheirNames) {
  for (const auto level : {ConfinementLevel::None, ConfinementLevel::Reduced, ConfinementLevel::Full}) {
    EXPECT_EQ(levelNamed(nameOf(level)), level);
  }
  for (const char* word : {"", "ful", "full ", "Full"}) EXPECT_EQ(levelNamed(word), std::nullopt) << word;
}

}  // namespace
}  // namespace vanto::testing

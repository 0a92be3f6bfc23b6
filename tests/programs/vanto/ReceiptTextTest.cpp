// SPDX-License-Identifier: Apache-2.0
#include "vanto/ReceiptText.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

using Messages = std::vector<std::string>;

TEST(ReceiptText, HasLevelAndWitness) {
  Receipt receipt;
  receipt.level = ConfinementLevel::Full;
  EXPECT_EQ(messagesOf(receipt, {}), Messages{"confinement: full; witness: untested"});
  receipt.witness = WitnessResult::Denied;
  receipt.witnessSubject = "list /";
  EXPECT_EQ(messagesOf(receipt, {}), Messages{"confinement: full; witness: denied: list /"});
}

TEST(ReceiptText, HasAllThatIsOtherThanTheProfileSays) {
  Receipt receipt;
  receipt.level = ConfinementLevel::Reduced;
  receipt.missing = {{Right::Socket, "too old"}, {Right::Ioctl, "older"}};
  receipt.withheld = {{Right::Rename, "refused"}};
  receipt.absent = {{"/no\n/such", "none"}, {"/${VantoService_path}/a", "none"}};
  ProfileValues values;
  values.fill();
  EXPECT_EQ(
      messagesOf(receipt, values),
      (Messages{"confinement: reduced; witness: untested", "not denied: socket: too old", "not denied: ioctl: older",
                "denied though allowed: rename: refused", "no rule for /no\\n/such: none"}));
}

}  // namespace
}  // namespace vanto::tool

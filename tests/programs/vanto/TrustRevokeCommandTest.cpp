// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustRevokeCommand.h"

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

class TrustRevokeCommandTest : public testing::CodeFixture {
 protected:
  TrustRevokeCommandTest() { sign(bundle_, acme_); }
};

TEST_F(TrustRevokeCommandTest, RevokesByName) {
  trustAcme();
  EXPECT_EQ(runCodeTool({"verify", bundle_}).status, ExitStatus::Fine);
  const ToolRun run = runCodeTool({"trust", "revoke", "acme"});
  EXPECT_EQ(run.output, acmePrint_ + ": revoked\n");
  EXPECT_EQ(runCodeTool({"verify", bundle_}).output, bundle_ + ": the key " + acmePrint_ + " is revoked\n");
}

TEST_F(TrustRevokeCommandTest, RevokesAKeyThatIsNotThereYetAndKeepsWhatWasRevoked) {
  EXPECT_EQ(runCodeTool({"trust", "revoke", acmePrint_}).status, ExitStatus::Fine);
  EXPECT_EQ(runCodeTool({"trust", "revoke", nextPrint_}).status, ExitStatus::Fine);
  const ToolRun run = runCodeTool({"trust", "add", fileOf(testing::keyFile("acme", acme_))});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.messages, "vanto: " + trustPath_ + "/acme.plist: added, but the key is revoked\n");
}

TEST_F(TrustRevokeCommandTest, RefusesWhatItDoesNotKnow) {
  trustAcme();
  EXPECT_EQ(runCodeTool({"trust", "revoke", "nobody"}).messages,
            "vanto: nobody: is no fingerprint, and no key in the trust directories has that name\n");
}

TEST_F(TrustRevokeCommandTest, DoesNotWriteOverADamagedFile) {
  trustAcme();
  testing::writeContents(trustPath_ + "/revoked.plist", "damaged");
  EXPECT_EQ(runCodeTool({"trust", "revoke", acmePrint_}).status, ExitStatus::Failed);
  EXPECT_EQ(contentsOf(trustPath_ + "/revoked.plist"), "damaged");
}

}  // namespace
}  // namespace vanto::tool

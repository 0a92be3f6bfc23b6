// SPDX-License-Identifier: Apache-2.0
#include "vanto/IdentifyCommand.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

class IdentifyCommandTest : public testing::CodeFixture {
 protected:
  IdentifyCommandTest() { sign(bundle_, acme_); }
  const std::string executable_ = builder_.executablePath("a");
};

TEST_F(IdentifyCommandTest, SaysWhoAnExecutableIs) {
  trustAcme();
  const ToolRun run = runCodeTool({"identify", executable_});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_EQ(run.output,
            "executable    " + executable_ + "\ndigest        " + code::hexText(code::digestOf("program").value()) +
                "\nsignature     " + bundle_ +
                "/Contents/Signature.plist\nvalid         yes\nidentifier    org.example.a\nsigner        " +
                acmePrint_ + "\nsigner        acme\n");
}

TEST_F(IdentifyCommandTest, LooksAtNoOtherFileOfTheBundle) {
  trustAcme();
  testing::writeContents(bundle_ + "/new", "x");
  EXPECT_EQ(runCodeTool({"identify", executable_}).status, ExitStatus::Fine);
}

TEST_F(IdentifyCommandTest, SaysNothingThatIsNotToBeBelieved) {
  const ToolRun run = runCodeTool({"identify", "--json", executable_});
  EXPECT_EQ(run.status, ExitStatus::Found);
  EXPECT_EQ(run.output.find("org.example.a"), run.output.npos) << run.output;
  EXPECT_NE(run.output.find("is not trusted"), run.output.npos);
  const ToolRun unsigned_ = runCodeTool({"identify", single_});
  EXPECT_NE(unsigned_.output.find("valid         no: it is not signed\n"), std::string::npos) << unsigned_.output;
}

TEST_F(IdentifyCommandTest, SaysWhyASignatureCannotBeRead) {
  std::filesystem::remove(bundle_ + "/Contents/Signature.plist");
  ASSERT_EQ(mkfifo((bundle_ + "/Contents/Signature.plist").c_str(), 0600), 0);
  const ToolRun run = runCodeTool({"identify", executable_});
  EXPECT_NE(run.output.find("no: the signature is no regular file\n"), run.output.npos) << run.output;
}

TEST_F(IdentifyCommandTest, PrintsEntitlementsOfValidCode) {
  trustAcme();
  testing::writeContents(directory_ / "e.plist",
                         "<plist version=\"1.0\"><dict><key>n</key><string>t</string></dict></plist>");
  EXPECT_EQ(runCodeTool({"sign", "-k", acmeKey_, "--entitlements", directory_ / "e.plist", single_}).status,
            ExitStatus::Fine);
  EXPECT_NE(runCodeTool({"identify", single_}).output.find("entitlement   n = t\n"), std::string::npos);
  EXPECT_NE(runCodeTool({"identify", "--json", single_}).output.find("\"n\": \"t\""), std::string::npos);
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/SignCommand.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "code/Verification.h"
#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

class SignCommandTest : public testing::CodeFixture {
 protected:
  [[nodiscard]] ToolRun sign(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"sign", "--key", acmeKey_});
    return runCodeTool(arguments);
  }
};

TEST_F(SignCommandTest, SignsABundle) {
  const ToolRun run = sign({bundle_});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  EXPECT_EQ(run.output, bundle_ + ": signed as org.example.a by acme (" + acmePrint_ + ")\n");
  const std::string first = contentsOf(bundle_ + "/Contents/Signature.plist");
  EXPECT_TRUE(code::verifyCode(placeAt(bundle_), trust_).isValid());
  EXPECT_EQ(sign({bundle_}).status, ExitStatus::Fine);
  EXPECT_EQ(contentsOf(bundle_ + "/Contents/Signature.plist"), first);
}

TEST_F(SignCommandTest, SignsASingleExecutableWithIdentifierAndEntitlements) {
  testing::writeContents(directory_ / "e.plist", "<plist version=\"1.0\"><dict><key>net</key><true/></dict></plist>");
  const ToolRun run = sign({single_, "--identifier", "org.x", "--entitlements", directory_ / "e.plist"});
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  const code::VerifyResult result = code::verifyCode(placeAt(single_), trust_);
  EXPECT_TRUE(result.isValid());
  EXPECT_EQ(result.identifier, "org.x");
  EXPECT_NE(result.entitlements->valueForKey("net"), nullptr);
}

TEST_F(SignCommandTest, NamesWhatCannotBeSigned) {
  const ToolRun inside = sign({builder_.executablePath("a")});
  EXPECT_EQ(inside.status, ExitStatus::Failed);
  EXPECT_EQ(inside.messages, "vanto: " + builder_.executablePath("a") +
                                 ": is the executable of a bundle; sign the bundle, " + bundle_ + "\n");
  ASSERT_EQ(mkfifo((bundle_ + "/fifo").c_str(), 0600), 0);
  const ToolRun fifo = sign({bundle_});
  EXPECT_EQ(fifo.status, ExitStatus::Failed);
  EXPECT_EQ(fifo.messages, "vanto: " + bundle_ + "/fifo: is neither a file nor a directory nor a symbolic link\n");
  EXPECT_FALSE(std::filesystem::exists(bundle_ + "/Contents/Signature.plist"));
}

TEST_F(SignCommandTest, SignsNothingThatNobodyWouldBelieve) {
  const std::string longest(4096, 'x');
  EXPECT_EQ(sign({single_, "--identifier", longest}).status, ExitStatus::Fine);
  EXPECT_EQ(sign({single_, "--identifier", longest + "x"}).messages,
            "vanto: " + single_ + ": has an identifier of more than 4096 bytes, which no service takes\n");
  EXPECT_EQ(sign({single_, "--identifier", "a\x01"}).messages,
            "vanto: " + single_ +
                ": cannot be signed: a string with a character that XML does not allow cannot be written\n");
  EXPECT_EQ(code::verifyCode(placeAt(single_), trust_).identifier, longest);
}

TEST_F(SignCommandTest, WritesNothingBehindALinkInThePlaceOfADirectory) {
  const std::string contents = bundle_ + "/Contents";
  std::filesystem::rename(contents, directory_ / "elsewhere");
  std::filesystem::create_symlink(directory_ / "elsewhere", contents);
  EXPECT_EQ(sign({bundle_}).status, ExitStatus::Failed);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "elsewhere/Signature.plist"));
}

TEST_F(SignCommandTest, RefusesEntitlementsThatAreNoneAndALinkAsSignature) {
  testing::writeContents(directory_ / "e.plist", "<plist version=\"1.0\"><array/></plist>");
  EXPECT_EQ(sign({single_, "--entitlements", directory_ / "e.plist"}).messages,
            "vanto: " + (directory_ / "e.plist") + ": is no dictionary of entitlements\n");
  std::filesystem::create_symlink("elsewhere", single_ + ".Signature.plist");
  EXPECT_EQ(sign({single_}).messages, "vanto: " + single_ + ".Signature.plist: is no regular file\n");
  EXPECT_FALSE(std::filesystem::exists(directory_ / "elsewhere"));
}

}  // namespace
}  // namespace vanto::tool

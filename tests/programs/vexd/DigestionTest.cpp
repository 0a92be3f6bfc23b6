// SPDX-License-Identifier: Apache-2.0
#include "vexd/Digestion.h"

#include <filesystem>

#include "programs/vexd/VexdFixture.h"
#include "vexd/CodeFinder.h"

namespace vanto::testing {
namespace {

class Digestion : public SignedCode {
 protected:
  [[nodiscard]] vexd::DigestAnswer answerAbout(const std::string& path) const {
    vexd::ExaminedProcess process;
    process.executable = openFile(path);
    process.path = path;
    return vexd::answerTo({vexd::findCode(std::move(process)), trustIn(acme_)}, [] { return true; });
  }
};

TEST_F(Digestion, BelievesWhatIsSignedByATrustedKey) {
  sign(bundle_, acme_);
  sign(single_, acme_);
  for (const std::string& path : {builder_.executablePath("a"), single_}) {
    const vexd::DigestAnswer answer = answerAbout(path);
    EXPECT_TRUE(answer.isValid) << answer.reason;
    EXPECT_EQ(answer.identifier, path == single_ ? "single" : "org.example.a");
    EXPECT_EQ(answer.fingerprint, code::fingerprint(acme_.publicKey));
    EXPECT_EQ(answer.signers, (std::vector<std::string>{answer.fingerprint, "acme"}));
    EXPECT_EQ(answer.digest.size(), vexd::digestSize);
    EXPECT_NE(answer.entitlements, "");
  }
}

TEST_F(Digestion, TellsTheDigestOfWhatIsNotSigned) {
  const vexd::DigestAnswer answer = answerAbout(single_);
  EXPECT_FALSE(answer.isValid);
  EXPECT_EQ(answer.reason, "it is not signed");
  const auto digest = code::digestOf("program");
  EXPECT_EQ(answer.digest, std::string(digest->begin(), digest->end()));
  EXPECT_EQ(answer.identifier, "");
}

TEST_F(Digestion, BelievesNoOtherKeyAndNothingThatWasChanged) {
  sign(single_, keyPair(2));
  EXPECT_TRUE(answerAbout(single_).reason.ends_with(" is not trusted"));
  sign(single_, acme_);
  writeContents(single_, "changed");
  EXPECT_EQ(answerAbout(single_).reason, "the executable was changed");
  sign(bundle_, acme_);
  writeContents(builder_.infoPath(), contentsOf(builder_.infoPath()) + " ");
  EXPECT_EQ(answerAbout(builder_.executablePath("a")).reason, "the Info dictionary was changed");
}

TEST_F(Digestion, DoesNotTakeAFileForTheExecutableOfABundleThatItOnlyLiesIn) {
  sign(bundle_, acme_);
  const std::string other = builder_.executablePath("b");
  writeContents(other, "program");
  EXPECT_EQ(answerAbout(other).reason, "it is not signed");
  sign(other, acme_);
  EXPECT_TRUE(answerAbout(other).isValid);
}

TEST_F(Digestion, PassesOverNoSignatureThatIsThere) {
  const std::string executable = builder_.executablePath("a");
  const std::string signature = bundle_ + "/Contents/Signature.plist";
  sign(executable, acme_);
  sign(bundle_, acme_);
  std::filesystem::rename(signature, directory_ / "moved");
  EXPECT_TRUE(answerAbout(executable).isValid);
  std::filesystem::create_symlink(directory_ / "moved", signature);
  EXPECT_TRUE(answerAbout(executable).reason.starts_with("the signature cannot be opened: "));
  std::filesystem::remove(signature);
  ASSERT_EQ(mkfifo(signature.c_str(), 0600), 0);
  EXPECT_EQ(answerAbout(executable).reason, "the signature is no regular file");
  std::filesystem::remove(signature);
  std::filesystem::rename(directory_ / "moved", signature);
  EXPECT_TRUE(answerAbout(executable).isValid);
  writeContents(builder_.infoPath(), "damaged");
  EXPECT_EQ(answerAbout(executable).reason, "the Info dictionary is none");
  std::filesystem::remove(builder_.infoPath());
  std::filesystem::create_symlink("/nowhere", builder_.infoPath());
  EXPECT_TRUE(answerAbout(executable).reason.starts_with("the Info dictionary cannot be opened: "));
  std::filesystem::remove(signature);
  EXPECT_TRUE(answerAbout(executable).isValid);
}

TEST_F(Digestion, SaysWhyASignatureCannotBeOpenedThatAnotherUserHides) {
  sign(single_, acme_);
  std::filesystem::permissions(single_ + ".Signature.plist", std::filesystem::perms::none);
  // Root opens everything.
  const bool isRoot = geteuid() == 0;
  constexpr uid_t nobody = 65534;
  std::filesystem::permissions(directory_.path(), std::filesystem::perms{0755});
  ASSERT_TRUE(!isRoot || seteuid(nobody) == 0);
  const std::string reason = answerAbout(single_).reason;
  ASSERT_TRUE(!isRoot || seteuid(0) == 0);
  EXPECT_EQ(reason, "the signature cannot be opened: Permission denied");
}

TEST_F(Digestion, GoesOnOnlyWhileItIsWanted) {
  const std::string path = directory_ / "long";
  writeContents(path, "x");
  std::filesystem::resize_file(path, std::uintmax_t{16} << 20);
  vexd::DigestRequest request;
  request.files.executable = openFile(path);
  int asked = 0;
  vexd::DigestAnswer answer = vexd::answerTo(request, [&asked] { return ++asked < 3; });
  EXPECT_EQ(answer.digest, "");
  EXPECT_EQ(answer.reason, "the executable was not read to its end");
  EXPECT_EQ(asked, 3);
}

TEST_F(Digestion, SaysWhatCannotBeRead) {
  vexd::DigestRequest request;
  request.files.executable = Fd(open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const vexd::DigestAnswer answer = vexd::answerTo(request, [] { return true; });
  EXPECT_EQ(answer.digest, "");
  EXPECT_TRUE(answer.reason.starts_with("the executable ")) << answer.reason;
}

}  // namespace
}  // namespace vanto::testing

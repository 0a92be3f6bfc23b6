// SPDX-License-Identifier: Apache-2.0
#include "code/Verification.h"

#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "code/limits.h"
#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

namespace fs = std::filesystem;
using Defects = std::vector<Defect>;

class VerificationTest : public testing::SignedCode {
 protected:
  VerificationTest() {
    sign(bundle_, acme_);
    sign(single_, acme_);
  }
  [[nodiscard]] VerifyResult verified(const std::string& path) const { return verifyCode(placeAt(path), trust_); }

  /// Whether the code at the path is valid; a bundle that is none any more is not.
  [[nodiscard]] bool isValid(const std::string& path) const {
    std::string problem;
    const auto place = CodePlace::ofPath(path, problem);
    return place && verifyCode(*place, trust_).isValid();
  }

  const std::string resource_ = bundle_ + "/Contents/Resources/r.txt";
  const std::string signature_ = bundle_ + "/Contents/Signature.plist";
};

TEST_F(VerificationTest, FindsNothingWrongWithWhatIsAsItWasSigned) {
  for (const std::string& path : {bundle_, single_, builder_.executablePath("a")}) {
    const VerifyResult result = verified(path);
    EXPECT_EQ(result.defects, Defects{}) << path;
    EXPECT_EQ(result.fingerprint, fingerprint(acme_.publicKey));
    EXPECT_EQ(result.signers.back(), "acme");
  }
  EXPECT_EQ(verified(bundle_).identifier, "org.example.a");
}

TEST_F(VerificationTest, TellsEachThingThatIsWrong) {
  testing::writeContents(resource_, "other");
  testing::writeContents(bundle_ + "/new", "x");
  testing::writeContents(builder_.executablePath("a"), "other");
  EXPECT_EQ(
      verified(bundle_).defects,
      (Defects{{"", "the executable was changed"}, {"Contents/Resources/r.txt", "was changed"}, {"new", "was added"}}));
  fs::remove(resource_);
  EXPECT_EQ(verified(bundle_).defects[1], (Defect{"Contents/Resources/r.txt", "is missing"}));
  fs::create_symlink("x", resource_);
  EXPECT_EQ(verified(bundle_).defects[1], (Defect{"Contents/Resources/r.txt", "was replaced by a symbolic link"}));
  fs::remove(resource_);
  ASSERT_EQ(mkfifo(resource_.c_str(), 0600), 0);
  EXPECT_EQ(verified(bundle_).defects[1],
            (Defect{"Contents/Resources/r.txt", "is neither a file nor a directory nor a symbolic link"}));
}

TEST_F(VerificationTest, TellsNothingOfTheRestWhenThereAreTooManyFiles) {
  fs::remove(resource_);
  fs::create_directory(bundle_ + "/many");
  for (std::size_t i = 0; i < limits::bundleEntries; ++i) {
    ASSERT_EQ(symlink("x", (bundle_ + "/many/" + std::to_string(i)).c_str()), 0);
  }
  EXPECT_EQ(verified(bundle_).defects, (Defects{{"", "has more than 16384 files and directories"}}));
}

TEST_F(VerificationTest, TellsWhereALinkLeads) {
  fs::create_symlink("here", bundle_ + "/link");
  sign(bundle_, acme_);
  EXPECT_TRUE(isValid(bundle_));
  fs::remove(bundle_ + "/link");
  fs::create_symlink("there", bundle_ + "/link");
  EXPECT_EQ(verified(bundle_).defects, (Defects{{"link", "leads elsewhere: there"}}));
  fs::remove(bundle_ + "/link");
  testing::writeContents(bundle_ + "/link", "x");
  EXPECT_EQ(verified(bundle_).defects, (Defects{{"link", "was a symbolic link and is a file"}}));
}

TEST_F(VerificationTest, TellsThatTheSignerIsNotTrusted) {
  const VerifyResult result = verifyCode(placeAt(bundle_), TrustStore());
  EXPECT_EQ(result.defects, (Defects{{"", "the key " + fingerprint(acme_.publicKey) + " is not trusted"}}));
  EXPECT_TRUE(result.signers.empty());
}

TEST_F(VerificationTest, TellsWhatIsWrongWithTheSignature) {
  fs::remove(signature_);
  EXPECT_EQ(verified(bundle_).defects, (Defects{{"", "it is not signed"}}));
  ASSERT_EQ(mkfifo(signature_.c_str(), 0600), 0);
  EXPECT_EQ(verified(bundle_).defects, (Defects{{"Contents/Signature.plist", "is no regular file"}}));
  fs::remove(signature_);
  testing::writeContents(signature_, std::string((1U << 20) + 1, 'x'));
  EXPECT_EQ(verified(bundle_).defects, (Defects{{"Contents/Signature.plist", "is larger than 1048576 bytes"}}));
  fs::remove(signature_);
  fs::create_symlink("other", signature_);
  ASSERT_EQ(verified(bundle_).defects.size(), 1U);
  EXPECT_FALSE(isValid(bundle_));
}

TEST_F(VerificationTest, TakesNoSignatureOfAnotherBundle) {
  test::BundleBuilder other(directory_.path(), "B.vanto");
  other.identifier("org.example.b").executable("b", "other").service().build();
  fs::copy_file(signature_, directory_ / "B.vanto/Contents/Signature.plist");
  EXPECT_FALSE(isValid(directory_ / "B.vanto"));
  fs::copy_file(single_, directory_ / "renamed");
  fs::copy_file(single_ + ".Signature.plist", directory_ / "renamed.Signature.plist");
  EXPECT_EQ(verified(directory_ / "renamed").defects, (Defects{{"", "the executable was renamed"}}));
}

TEST_F(VerificationTest, FindsEachBitThatIsTurnedInAnyFile) {
  for (const std::string& path : {signature_, builder_.infoPath(), builder_.executablePath("a"), resource_}) {
    const std::string whole = testing::contentsOf(path);
    for (std::size_t place = 0; place < whole.size(); ++place) {
      std::string changed = whole;
      changed[place] = static_cast<char>(changed[place] ^ (1 << (place % 8)));
      testing::writeContents(path, changed);
      EXPECT_FALSE(isValid(bundle_)) << path << " " << place;
      changed[place] = static_cast<char>(~whole[place]);
      testing::writeContents(path, changed);
      EXPECT_FALSE(isValid(bundle_)) << path << " " << place;
    }
    testing::writeContents(path, whole);
  }
  EXPECT_TRUE(isValid(bundle_));
}

TEST_F(VerificationTest, FindsEachCut) {
  for (const std::string& path : {signature_, builder_.infoPath(), builder_.executablePath("a"), resource_}) {
    const std::string whole = testing::contentsOf(path);
    for (std::size_t size = 0; size < whole.size(); ++size) {
      testing::writeContents(path, whole.substr(0, size));
      EXPECT_FALSE(isValid(bundle_)) << path << " " << size;
    }
    testing::writeContents(path, whole);
  }
}

}  // namespace
}  // namespace vanto::code

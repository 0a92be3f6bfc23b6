// SPDX-License-Identifier: Apache-2.0
#include "code/Revocations.h"

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

using testing::keyPair;

class RevocationsTest : public ::testing::Test {
 protected:
  const TemporaryScope scope_;
  const PublicKey key_ = keyPair(1).publicKey;
  const Digest digest_ = digestOf({reinterpret_cast<const char*>(key_.data()), key_.size()}).value();
};

TEST_F(RevocationsTest, HoldKeysByTheirFingerprintsAndByThemselves) {
  EXPECT_TRUE((Revocations{{digest_}}).contain(key_));
  EXPECT_TRUE((Revocations{{key_}}).contain(key_));
  EXPECT_FALSE((Revocations{{digest_, key_}}).contain(keyPair(2).publicKey));
  EXPECT_FALSE(Revocations{}.contain(key_));
}

TEST_F(RevocationsTest, AreReadAsTheyWereWritten) {
  std::string problem;
  const Revocations written{{digest_, keyPair(3).publicKey}};
  const auto read = Revocations::read(written.bytes(), problem);
  ASSERT_TRUE(read) << problem;
  EXPECT_EQ(read->keys, written.keys);
  EXPECT_TRUE(Revocations::read(Revocations{}.bytes(), problem));
}

TEST_F(RevocationsTest, AreRefusedInEveryOtherForm) {
  for (const char* value : {"<array/>", "<dict/>", "<dict><key>Revoked</key><string/></dict>",
                            "<dict><key>Revoked</key><array><string/></array></dict>",
                            "<dict><key>Revoked</key><array><data>AAAA</data></array></dict>",
                            "<dict><key>Revoked</key><array/><key>More</key><true/></dict>"}) {
    std::string problem;
    EXPECT_FALSE(Revocations::read("<plist version=\"1.0\">" + std::string(value) + "</plist>", problem)) << value;
    EXPECT_NE(problem, "");
  }
  const std::string whole = Revocations{{digest_}}.bytes();
  for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
    std::string problem;
    EXPECT_FALSE(Revocations::read(whole.substr(0, size), problem)) << size;
  }
}

}  // namespace
}  // namespace vanto::code

// SPDX-License-Identifier: Apache-2.0
#include "code/KeyDocument.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

using testing::keyPair;

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  const std::size_t place = text.find(what);
  EXPECT_NE(place, text.npos) << what;
  return text.replace(place, what.size(), by);
}

class KeyDocument : public ::testing::Test {
 protected:
  const TemporaryScope scope_;
  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "acme.key";
  const PrivateKeyDocument private_{keyPair(1), "acme"};
  const PublicKeyDocument public_{keyPair(1).publicKey, "acme", {}};
  const std::string successor_ = testing::successorFile("new", keyPair(2), keyPair(1)).bytes;
};

TEST_F(KeyDocument, ReadsWhatItWrote) {
  std::string problem;
  const auto secret = PrivateKeyDocument::read(private_.bytes(), problem);
  ASSERT_TRUE(secret) << problem;
  EXPECT_EQ(secret->keys.seed, private_.keys.seed);
  EXPECT_EQ(secret->name, "acme");
  const auto open = PublicKeyDocument::read(public_.bytes(), problem);
  ASSERT_TRUE(open) << problem;
  EXPECT_EQ(open->key, public_.key);
  EXPECT_FALSE(open->succession);
  const auto successor = PublicKeyDocument::read(successor_, problem);
  ASSERT_TRUE(successor) << problem;
  EXPECT_EQ(successor->succession->predecessor, public_.key);
}

TEST_F(KeyDocument, RefusesThatTheTwoKeysDoNotBelongTogether) {
  PrivateKeyDocument other = private_;
  other.keys.publicKey = keyPair(2).publicKey;
  std::string problem;
  EXPECT_FALSE(PrivateKeyDocument::read(other.bytes(), problem));
  EXPECT_EQ(problem, "PublicKey does not belong to PrivateKey");
}

TEST_F(KeyDocument, RefusesAStatementThatThePredecessorDidNotMake) {
  std::string problem;
  auto document = PublicKeyDocument::read(successor_, problem).value();
  document.key = keyPair(3).publicKey;
  EXPECT_FALSE(PublicKeyDocument::read(document.bytes(), problem));
  EXPECT_EQ(problem, "Signature is not by Predecessor");
  document.succession->predecessor = keyPair(3).publicKey;
  EXPECT_FALSE(PublicKeyDocument::read(document.bytes(), problem));
}

TEST_F(KeyDocument, RefusesWhatIsHalfAStatementOrHasMore) {
  std::string problem;
  EXPECT_FALSE(PublicKeyDocument::read(replaced(successor_, "Predecessor", "Predecessa"), problem));
  EXPECT_EQ(problem, "Predecessor is missing");
  EXPECT_FALSE(PublicKeyDocument::read(replaced(successor_, "Signature", "Signatura"), problem));
  EXPECT_EQ(problem, "Signature is missing");
  EXPECT_FALSE(PublicKeyDocument::read(private_.bytes(), problem));
  EXPECT_EQ(problem, "it has entries that are not known");
  EXPECT_FALSE(PublicKeyDocument::read(replaced(public_.bytes(), "acme", "ac/me"), problem));
  EXPECT_EQ(problem, "Name is no name for a key");
}

TEST_F(KeyDocument, RefusesEveryCut) {
  for (const std::string& whole : {private_.bytes(), public_.bytes(), successor_}) {
    // Without the last line end it is still whole.
    for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
      std::string problem;
      EXPECT_FALSE(PrivateKeyDocument::read(whole.substr(0, size), problem)) << size;
      EXPECT_FALSE(PublicKeyDocument::read(whole.substr(0, size), problem)) << size;
      EXPECT_NE(problem, "");
    }
  }
}

TEST_F(KeyDocument, ReadsAPrivateFileOnlyWhenNobodyElseCan) {
  testing::writeContents(path_, private_.bytes());
  std::string problem;
  for (const mode_t mode : {0600U, 0400U, 0700U}) {
    chmod(path_.c_str(), mode);
    EXPECT_TRUE(PrivateKeyDocument::readFile(path_, problem)) << mode << problem;
  }
  for (const mode_t mode : {0640U, 0604U, 0660U, 0644U}) {
    chmod(path_.c_str(), mode);
    EXPECT_FALSE(PrivateKeyDocument::readFile(path_, problem)) << mode;
    EXPECT_EQ(problem, path_ + ": can be read by others; chmod go= takes that away");
  }
  chmod(path_.c_str(), 0620);
  EXPECT_FALSE(PrivateKeyDocument::readFile(path_, problem));
}

TEST_F(KeyDocument, DoesNotWaitForAPrivateFile) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  std::string problem;
  EXPECT_FALSE(PrivateKeyDocument::readFile(path_, problem));
  EXPECT_EQ(problem, path_ + ": is no regular file");
  EXPECT_FALSE(PrivateKeyDocument::readFile(directory_ / "none", problem));
  EXPECT_EQ(problem, (directory_ / "none") + ": does not exist");
}

}  // namespace
}  // namespace vanto::code

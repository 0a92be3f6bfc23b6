// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustPlaces.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "code/Judgement.h"
#include "code/limits.h"
#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

class TrustPlacesTest : public testing::CodeFixture {
 protected:
  /// The machine's trusts acme and the user's next, and each revokes what the other trusts.
  void trustAndRevoke() {
    places_.system = directory_ / "system";
    mkdir(places_.system.c_str(), 0755);
    testing::writeContents(places_.system + "/acme.plist", testing::keyFile("acme", acme_).bytes);
    testing::writeContents(revoked(places_.system), code::Revocations{{next_.publicKey}}.bytes());
    ASSERT_TRUE(places_.make(captured_.console()));
    testing::writeContents(trustPath_ + "/next.plist", testing::keyFile("next", next_).bytes);
    testing::writeContents(trustPath_ + "/third.plist", testing::keyFile("third", third_).bytes);
    testing::writeContents(revoked(trustPath_), code::Revocations{{acme_.publicKey}}.bytes());
    for (const std::string& file : {revoked(places_.system), revoked(trustPath_)}) chmod(file.c_str(), 0644);
  }
  static std::string revoked(const std::string& directory) { return directory + "/revoked.plist"; }

  /// What stands in the way of each of the keys, and the one complaint of it.
  void expectWithheld(const std::string& doubt) {
    const std::size_t before = captured_.messages().size();
    const code::TrustStore store = places_.read(captured_.console());
    const std::string reason = "no key is trusted while it is not known which are revoked: " + doubt;
    EXPECT_EQ(code::distrustOf(third_.publicKey, store), reason);
    for (const code::KeyPair& keys : {acme_, next_}) {
      const code::KeyStanding standing = store.standing(keys.publicKey);
      EXPECT_TRUE(standing == code::KeyStanding::Withheld || standing == code::KeyStanding::Revoked);
    }
    EXPECT_EQ(captured_.messages().substr(before),
              "vanto: " + doubt + "; what it revokes is not known, so no key of any directory is trusted\n");
  }

  const code::KeyPair third_ = testing::keyPair(3);
  testing::CapturedConsole captured_;
  TrustPlaces places_;
};

TEST_F(TrustPlacesTest, ReadTheMachinesAndTheUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to have a directory of the machine";
  places_.system = directory_ / "system";
  mkdir(places_.system.c_str(), 0755);
  testing::writeContents(places_.system + "/next.plist", testing::keyFile("next", next_).bytes);
  trustAcme();
  const code::TrustStore store = places_.read(captured_.console());
  EXPECT_EQ(store.entries().size(), 2U);
  EXPECT_EQ(captured_.messages(), "");
}

TEST_F(TrustPlacesTest, KeepWhatADirectoryRevokesThatOthersCanRead) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to have a directory of the machine";
  trustAndRevoke();
  chmod(trustPath_.c_str(), 0755);
  const code::TrustStore store = places_.read(captured_.console());
  EXPECT_EQ(store.standing(acme_.publicKey), code::KeyStanding::Revoked);
  EXPECT_EQ(store.standing(next_.publicKey), code::KeyStanding::Revoked);
  EXPECT_EQ(store.standing(third_.publicKey), code::KeyStanding::Unknown);
  EXPECT_EQ(captured_.messages(),
            "vanto: " + trustPath_ + ": is not for its owner alone; chmod 700 makes it so; nothing in it is trusted\n");
}

TEST_F(TrustPlacesTest, TrustNothingWhileEitherFileOfRevokedKeysIsBad) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to have a directory of the machine";
  for (const bool isSystem : {false, true}) {
    trustAndRevoke();
    EXPECT_EQ(places_.read(captured_.console()).standing(third_.publicKey), code::KeyStanding::Trusted);
    const std::string directory = isSystem ? places_.system : trustPath_;
    chmod(revoked(directory).c_str(), 0664);
    expectWithheld(directory + ": revoked.plist can be written by others; chmod go-w takes that away");
    trustAndRevoke();
    testing::writeContents(revoked(directory), "junk");
    expectWithheld(directory + ": revoked.plist is no property list: expected the root element <plist> (line 1)");
    trustAndRevoke();
    testing::writeContents(revoked(directory), std::string(code::limits::revocationFileBytes + 1, ' '));
    expectWithheld(directory + ": revoked.plist is larger than 1048576 bytes");
    unlink(revoked(directory).c_str());
    EXPECT_EQ(places_.read(captured_.console()).standing(third_.publicKey), code::KeyStanding::Trusted);
  }
}

TEST_F(TrustPlacesTest, TrustNothingWhileOthersCanWriteIntoADirectory) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to have a directory of the machine";
  for (const bool isSystem : {false, true}) {
    trustAndRevoke();
    const std::string directory = isSystem ? places_.system : trustPath_;
    chmod(directory.c_str(), 0775);
    expectWithheld(directory + ": can be written by others; chmod go-w takes that away");
    chmod(directory.c_str(), isSystem ? 0755 : 0700);
  }
}

TEST_F(TrustPlacesTest, ChangeTheMachinesWhenAskedTo) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to have a directory of the machine";
  places_.system = directory_ / "a/b";
  EXPECT_EQ(places_.fileNamed("x"), trustPath_ + "/x.plist");
  places_.isSystem = true;
  EXPECT_TRUE(places_.make(captured_.console()));
  EXPECT_EQ(places_.fileNamed("x"), places_.system + "/x.plist");
  EXPECT_TRUE(places_.readChanged(captured_.console()).isUsable);
  struct stat status;
  ASSERT_EQ(stat(places_.system.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 022, 0U);
}

TEST_F(TrustPlacesTest, AreNoneOfAUserWithoutAHome) {
  places_.user.clear();
  EXPECT_FALSE(places_.make(captured_.console()));
  EXPECT_EQ(captured_.messages(),
            "vanto: there is no HOME to keep trusted keys in; --system keeps them for the machine\n");
}

TEST_F(TrustPlacesTest, DescribeASigner) {
  EXPECT_EQ(describeSigner({"f", "a", "b\x1b"}, "f"), "a, b\\x1b (f)");
  EXPECT_EQ(describeSigner({}, "f"), "f");
}

}  // namespace
}  // namespace vanto::tool

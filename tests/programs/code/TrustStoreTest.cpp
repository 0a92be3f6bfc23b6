// SPDX-License-Identifier: Apache-2.0
#include "code/TrustStore.h"

#include <gtest/gtest.h>

#include "code/limits.h"
#include "programs/code/SignedCode.h"

namespace vanto::code {
namespace {

using testing::keyFile;
using testing::keyPair;
using testing::storeOf;
using testing::successorFile;
using Names = std::vector<std::string>;

class TrustStoreTest : public ::testing::Test {
 protected:
  /// A key, and so many that succeed it, each the one before.
  static std::vector<TrustDirectory::File> chainOf(std::uint8_t length) {
    std::vector<TrustDirectory::File> files{keyFile("k1", keyPair(1))};
    for (std::uint8_t number = 2; number <= length + 1; ++number) {
      files.push_back(
          successorFile("k" + std::to_string(number), keyPair(number), keyPair(static_cast<std::uint8_t>(number - 1))));
    }
    return files;
  }
  static std::string revoking(std::uint8_t number) { return Revocations{{keyPair(number).publicKey}}.bytes(); }

  const TemporaryScope scope_;
};

TEST_F(TrustStoreTest, TrustsTheKeysThatLieThere) {
  const TrustStore store = storeOf({keyFile("a", keyPair(1))});
  EXPECT_EQ(store.standing(keyPair(1).publicKey), KeyStanding::Trusted);
  EXPECT_EQ(store.standing(keyPair(2).publicKey), KeyStanding::Unknown);
  EXPECT_EQ(store.names(keyPair(1).publicKey), (Names{fingerprint(keyPair(1).publicKey), "a"}));
  EXPECT_EQ(store.names(keyPair(2).publicKey), Names{});
}

TEST_F(TrustStoreTest, TrustsSuccessorsUnderTheOldNamesToo) {
  const TrustStore store = storeOf(chainOf(2));
  EXPECT_EQ(store.names(keyPair(3).publicKey), (Names{fingerprint(keyPair(3).publicKey), "k1", "k2", "k3"}));
  EXPECT_EQ(store.names(keyPair(1).publicKey), (Names{fingerprint(keyPair(1).publicKey), "k1"}));
}

TEST_F(TrustStoreTest, TrustsSixteenSuccessorsAndNoMore) {
  const auto most = static_cast<std::uint8_t>(limits::successors);
  const TrustStore store = storeOf(chainOf(static_cast<std::uint8_t>(most + 1)));
  EXPECT_EQ(store.standing(keyPair(static_cast<std::uint8_t>(most + 1)).publicKey), KeyStanding::Trusted);
  EXPECT_EQ(store.standing(keyPair(static_cast<std::uint8_t>(most + 2)).publicKey), KeyStanding::Unknown);
  EXPECT_EQ(store.names(keyPair(static_cast<std::uint8_t>(most + 1)).publicKey).size(), 1U + most + 1U);
}

TEST_F(TrustStoreTest, DoesNotTrustASuccessorOfNobody) {
  EXPECT_EQ(storeOf({successorFile("b", keyPair(2), keyPair(1))}).standing(keyPair(2).publicKey), KeyStanding::Unknown);
  // Each the successor of the other.
  const TrustStore circle =
      storeOf({successorFile("a", keyPair(1), keyPair(2)), successorFile("b", keyPair(2), keyPair(1))});
  EXPECT_EQ(circle.standing(keyPair(1).publicKey), KeyStanding::Unknown);
}

TEST_F(TrustStoreTest, TrustsNothingThatComesThroughARevokedKey) {
  for (const std::uint8_t revoked : std::initializer_list<std::uint8_t>{1, 2, 3}) {
    const TrustStore store = storeOf(chainOf(2), revoking(revoked));
    EXPECT_EQ(store.standing(keyPair(revoked).publicKey), KeyStanding::Revoked);
    EXPECT_EQ(store.standing(keyPair(3).publicKey), revoked == 3 ? KeyStanding::Revoked : KeyStanding::Unknown);
    EXPECT_EQ(store.standing(keyPair(1).publicKey), revoked == 1 ? KeyStanding::Revoked : KeyStanding::Trusted);
    EXPECT_EQ(store.names(keyPair(revoked).publicKey), Names{});
  }
}

TEST_F(TrustStoreTest, LetsRevocationsOfOneDirectoryCountForAll) {
  TrustStore store = storeOf(chainOf(1));
  store.add({"/other", {}, revoking(1), {}, true, {}});
  EXPECT_EQ(store.standing(keyPair(1).publicKey), KeyStanding::Revoked);
  EXPECT_EQ(store.standing(keyPair(2).publicKey), KeyStanding::Unknown);
  TrustStore reverse;
  reverse.add({"/other", {}, revoking(1), {}, true, {}});
  reverse.add({"/trust", chainOf(1), {}, {}, true, {}});
  EXPECT_EQ(reverse.standing(keyPair(1).publicKey), KeyStanding::Revoked);
}

TEST_F(TrustStoreTest, JoinsStatementsOfAllDirectories) {
  TrustStore store = storeOf({successorFile("b", keyPair(2), keyPair(1))});
  EXPECT_EQ(store.standing(keyPair(2).publicKey), KeyStanding::Unknown);
  store.add({"/other", {keyFile("a", keyPair(1))}, {}, {}, true, {}});
  EXPECT_EQ(store.standing(keyPair(2).publicKey), KeyStanding::Trusted);
}

TEST_F(TrustStoreTest, TrustsNothingWhileRevocationsOfOneDirectoryAreNotUnderstood) {
  const TrustDirectory good{"/good", {keyFile("a", keyPair(1))}, revoking(3), {}, true, {}};
  const TrustDirectory bad{"/bad", {keyFile("b", keyPair(2))}, "damaged", {}, true, {}};
  for (const bool isBadFirst : {false, true}) {
    TrustStore store;
    store.add(isBadFirst ? bad : good);
    store.add(isBadFirst ? good : bad);
    for (const std::uint8_t key : std::initializer_list<std::uint8_t>{1, 2, 4}) {
      EXPECT_EQ(store.standing(keyPair(key).publicKey), KeyStanding::Withheld);
      EXPECT_EQ(store.names(keyPair(key).publicKey), Names{});
    }
    EXPECT_EQ(store.standing(keyPair(3).publicKey), KeyStanding::Revoked);
    EXPECT_EQ(store.entries().size(), 2U);
    EXPECT_TRUE(store.doubt().starts_with("/bad: revoked.plist is no property list")) << store.doubt();
    EXPECT_EQ(store.problems(),
              (Names{store.doubt() + "; what it revokes is not known, so no key of any directory is trusted"}));
  }
}

TEST_F(TrustStoreTest, TrustsNothingWhileADirectoryIsDoubted) {
  TrustStore store = storeOf({keyFile("a", keyPair(1))});
  store.add({"/bad", {}, {}, {}, false, "is bad"});
  EXPECT_EQ(store.standing(keyPair(1).publicKey), KeyStanding::Withheld);
  EXPECT_EQ(store.doubt(), "/bad: is bad");
  store.add({"/worse", {}, {}, {}, false, "is worse"});
  EXPECT_EQ(store.doubt(), "/bad: is bad");
  EXPECT_EQ(store.problems().size(), 2U);
}

TEST_F(TrustStoreTest, TakesRevocationsAndNoKeysFromAnUnusableDirectory) {
  TrustStore store = storeOf({keyFile("a", keyPair(1)), keyFile("c", keyPair(3))});
  store.add({"/bad", {keyFile("b", keyPair(2))}, revoking(1), {"/bad: is bad"}, false, {}});
  EXPECT_EQ(store.standing(keyPair(1).publicKey), KeyStanding::Revoked);
  EXPECT_EQ(store.standing(keyPair(2).publicKey), KeyStanding::Unknown);
  EXPECT_EQ(store.standing(keyPair(3).publicKey), KeyStanding::Trusted);
  EXPECT_EQ(store.problems(), (Names{"/bad: is bad"}));
}

TEST_F(TrustStoreTest, IgnoresEachBadFileAsAWhole) {
  TrustDirectory::File renamed = keyFile("a", keyPair(1));
  renamed.name = "b";
  const TrustStore store = storeOf({{"damaged", "x"}, keyFile("good", keyPair(3)), renamed});
  EXPECT_EQ(store.standing(keyPair(1).publicKey), KeyStanding::Unknown);
  EXPECT_EQ(store.standing(keyPair(3).publicKey), KeyStanding::Trusted);
  ASSERT_EQ(store.problems().size(), 2U);
  EXPECT_TRUE(store.problems()[0].starts_with("/trust/damaged.plist: "));
  EXPECT_EQ(store.problems()[1], "/trust/b.plist: its Name is not that of the file");
}

}  // namespace
}  // namespace vanto::code

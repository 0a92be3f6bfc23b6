// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Right.h"

#include <set>

#include <gtest/gtest.h>

namespace {

using vanto::Right;
using vanto::RightSet;

TEST(Right, IsFoundByItsName) {
  for (const Right right : vanto::allRights) EXPECT_EQ(vanto::rightNamed(vanto::nameOf(right)), right);
}

TEST(Right, HasANameOfItsOwn) {
  std::set<std::string_view> names;
  for (const Right right : vanto::allRights) names.insert(vanto::nameOf(right));
  EXPECT_EQ(names.size(), vanto::allRights.size());
}

TEST(Right, IsNotFoundByAnotherWord) {
  for (const char* word : {"", "reads", "rea", "Read", "all", "read,write"}) {
    EXPECT_EQ(vanto::rightNamed(word), std::nullopt) << word;
  }
}

TEST(Right, IsToAPathOrToAPortOrToNeither) {
  for (const Right right : {Right::Read, Right::Ioctl, Right::Socket}) EXPECT_TRUE(vanto::isRightToPath(right));
  for (const Right right : {Right::Bind, Right::Connect}) EXPECT_TRUE(vanto::isRightToPort(right));
  for (const Right right : {Right::Bind, Right::Network, Right::System}) EXPECT_FALSE(vanto::isRightToPath(right));
  for (const Right right : {Right::Socket, Right::Network}) EXPECT_FALSE(vanto::isRightToPort(right));
}

TEST(RightSet, ContainsWhatWasPutIn) {
  RightSet set = RightSet(Right::Read) | Right::System;
  EXPECT_TRUE(set.contains(Right::Read));
  EXPECT_TRUE(set.contains(Right::System));
  EXPECT_FALSE(set.contains(Right::Write));
  EXPECT_EQ(set.without(Right::Read), RightSet(Right::System));
  EXPECT_TRUE(set.without(set).isEmpty());
  EXPECT_EQ(set & (RightSet(Right::System) | Right::Write), RightSet(Right::System));
  EXPECT_FALSE(set.isEmpty());
}

TEST(RightSet, ListsItsNamesInOrder) {
  EXPECT_EQ(vanto::namesOf(RightSet(Right::Signal) | Right::Read | Right::Bind, ", "), "read, bind, signal");
  EXPECT_EQ(vanto::namesOf({}, ", "), "");
}

}  // namespace

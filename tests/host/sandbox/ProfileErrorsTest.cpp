// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileErrors.h"

#include <gtest/gtest.h>

#include "value/limits.h"

namespace {

TEST(ProfileErrors, SaysNothingWithoutErrors) {
  EXPECT_EQ(vanto::ProfileErrors().summary("p"), "");
}

TEST(ProfileErrors, ShowsWhereTheFirstIsAndHowManyFollow) {
  vanto::ProfileErrors errors;
  errors.add({3, 14}, "wrong; right it");
  EXPECT_EQ(errors.summary("/a/p.sb"), "/a/p.sb:3:14: wrong; right it");
  errors.add({1, 1}, "also wrong");
  errors.add({1, 2}, "wrong too");
  EXPECT_EQ(errors.summary("/a/p.sb"), "/a/p.sb:3:14: wrong; right it (and 2 more)");
  EXPECT_EQ(vanto::lineOf("p", errors.kept()[2]), "p:1:2: wrong too");
}

TEST(ProfileErrors, KeepsTheFirstAndCountsAll) {
  vanto::ProfileErrors errors;
  for (std::size_t line = 1; line <= vanto::limits::profileErrors; ++line) errors.add({line, 1}, "wrong");
  EXPECT_EQ(errors.kept().size(), vanto::limits::profileErrors);
  errors.add({1000, 1}, "one too many");
  EXPECT_EQ(errors.kept().size(), vanto::limits::profileErrors);
  EXPECT_EQ(errors.kept().back().position.line, vanto::limits::profileErrors);
  EXPECT_EQ(errors.count(), vanto::limits::profileErrors + 1);
}

}  // namespace

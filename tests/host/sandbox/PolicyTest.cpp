// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Policy.h"

#include "host/sandbox/Compiled.h"

namespace {

using vanto::Policy;
using vanto::Right;
using vanto::testing::compiled;

TEST(Policy, AllowsNothingOfItself) {
  for (const Right right : vanto::allRights) {
    EXPECT_FALSE(Policy().allowsAll(right)) << vanto::nameOf(right);
    EXPECT_FALSE(Policy().allowsAny(right)) << vanto::nameOf(right);
  }
}

TEST(Policy, AllowsAllOfARightToPathsAtTheRoot) {
  const Policy policy = compiled("allow read /\nallow write /a\n");
  EXPECT_TRUE(policy.allowsAll(Right::Read));
  EXPECT_FALSE(policy.allowsAll(Right::Write));
  EXPECT_TRUE(policy.allowsAny(Right::Write));
  EXPECT_FALSE(policy.allowsAny(Right::Create));
}

TEST(Policy, AllowsAllPortsWithTheNetwork) {
  const Policy some = compiled("allow connect tcp 80");
  EXPECT_TRUE(some.allowsAny(Right::Connect));
  EXPECT_FALSE(some.allowsAll(Right::Connect));
  EXPECT_FALSE(some.allowsAny(Right::Bind));
  EXPECT_FALSE(some.allowsAny(Right::Network));
  const Policy all = compiled("allow network");
  for (const Right right : {Right::Connect, Right::Bind, Right::Network}) EXPECT_TRUE(all.allowsAll(right));
}

}  // namespace

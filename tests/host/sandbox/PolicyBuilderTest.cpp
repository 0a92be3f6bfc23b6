// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyBuilder.h"

#include <gtest/gtest.h>

#include "sandbox/PolicyText.h"
#include "value/limits.h"

namespace {

using vanto::NetworkMode;
using vanto::Policy;
using vanto::PolicyBuilder;
using vanto::Right;
using vanto::RightSet;
using Outcome = PolicyBuilder::Outcome;

TEST(PolicyBuilder, JoinsWhatIsGivenAtOnePath) {
  PolicyBuilder builder;
  EXPECT_EQ(builder.allowPath("/b", Right::Read, {{}, 1}), Outcome::Added);
  EXPECT_EQ(builder.allowPath("/a", Right::Create, {{}, 2}), Outcome::Added);
  EXPECT_EQ(builder.allowPath("/b", Right::Execute, {"base", 3}), Outcome::Added);
  const Policy policy = builder.take();
  ASSERT_EQ(policy.paths.size(), 2U);
  EXPECT_EQ(policy.paths[0].path, "/a");
  EXPECT_EQ(policy.paths[1].rights, RightSet(Right::Read) | Right::Execute);
  ASSERT_EQ(policy.paths[1].grants.size(), 2U);
  EXPECT_EQ(policy.paths[1].grants[0].line.line, 1U);
  EXPECT_EQ(policy.paths[1].grants[1].line.base, "base");
}

TEST(PolicyBuilder, LetsWhoWritesTruncate) {
  PolicyBuilder builder;
  ASSERT_EQ(builder.allowPath("/a", Right::Write, {}), Outcome::Added);
  EXPECT_EQ(builder.take().paths[0].rights, RightSet(Right::Write) | Right::Truncate);
}

TEST(PolicyBuilder, TakesTheWidestNetworkThatWasAllowed) {
  PolicyBuilder builder;
  EXPECT_EQ(builder.take().network, NetworkMode::None);
  ASSERT_EQ(builder.allowPorts({80, 82}, Right::Bind, {}), Outcome::Added);
  ASSERT_EQ(builder.allowPorts({82, 82}, Right::Connect, {}), Outcome::Added);
  const Policy policy = builder.take();
  EXPECT_EQ(policy.network, NetworkMode::Tcp);
  ASSERT_EQ(policy.ports.size(), 3U);
  EXPECT_EQ(policy.ports[2].rights, RightSet(Right::Bind) | Right::Connect);
  ASSERT_EQ(builder.allow(Right::Network, {}), Outcome::Added);
  ASSERT_EQ(builder.allowPorts({80, 80}, Right::Bind, {}), Outcome::Added);
  EXPECT_EQ(builder.take().network, NetworkMode::All);
}

TEST(PolicyBuilder, TakesAsManyPathsAndPortsAsTheLimitSays) {
  PolicyBuilder builder;
  for (std::size_t index = 0; index + 64 < vanto::limits::profileGrants; ++index) {
    ASSERT_EQ(builder.allowPath("/a", Right::Read, {}), Outcome::Added);
  }
  EXPECT_EQ(builder.allowPorts({1, 65}, Right::Bind, {}), Outcome::TooMany);
  EXPECT_EQ(builder.allowPorts({1, 64}, Right::Bind, {}), Outcome::Added);
  EXPECT_EQ(builder.allowPath("/a", Right::Read, {}), Outcome::TooMany);
  EXPECT_EQ(builder.allow(Right::Signal, {}), Outcome::TooMany);
  EXPECT_EQ(builder.take().ports.size(), 64U);
  EXPECT_EQ(builder.allow(Right::Signal, {}), Outcome::Added);
  EXPECT_EQ(vanto::textOf(builder.take()), "version 1\nnetwork none\nallow signal\n");
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyExplanation.h"

#include "host/sandbox/Compiled.h"

namespace {

using vanto::Explanation;
using vanto::Policy;
using vanto::Right;
using vanto::testing::compiled;

/// "SUBJECT@BASE:LINE" for each statement.
std::string shown(const Explanation& explanation) {
  std::string text;
  for (const auto& statement : explanation) {
    text += (text.empty() ? "" : " ") + statement.subject + "@" + std::string(statement.line.base) + ":" +
            std::to_string(statement.line.line);
  }
  return text;
}

TEST(PolicyExplanation, NamesEachStatementThatAllowsAPath) {
  const Policy policy = compiled("allow read /\nallow read,write /a\nallow read /a/b /ab\nallow read /a/b\n");
  EXPECT_EQ(shown(vanto::explainPath(policy, Right::Read, "/a/b/c")), "/a/b@:3 /a/b@:4 /a@:2 /@:1");
  EXPECT_EQ(shown(vanto::explainPath(policy, Right::Read, "/ab")), "/ab@:3 /@:1");
  EXPECT_EQ(shown(vanto::explainPath(policy, Right::Truncate, "/a/b")), "/a@:2");
  EXPECT_EQ(shown(vanto::explainPath(policy, Right::Write, "/ab")), "");
  EXPECT_EQ(shown(vanto::explainPath(policy, Right::Read, "/")), "/@:1");
  EXPECT_EQ(shown(vanto::explainPath(policy, Right::Read, "a/b")), "");
  EXPECT_EQ(shown(vanto::explainPath(policy, Right::Read, "")), "");
  EXPECT_EQ(shown(vanto::explainPath(compiled("allow read /a"), Right::Read, "/")), "");
}

TEST(PolicyExplanation, IsAskedOfTheDirectoryForWhatChangesIt) {
  for (const Right right : {Right::Remove, Right::Rename}) {
    EXPECT_EQ(vanto::decidingPlace(right, "/a/b"), "/a");
    EXPECT_EQ(vanto::decidingPlace(right, "/a"), "/");
    EXPECT_EQ(vanto::decidingPlace(right, "/"), "");
  }
  EXPECT_EQ(vanto::decidingPlace(Right::Create, "/a/b"), "/a/b");
  EXPECT_EQ(vanto::decidingPlace(Right::Read, "/"), "/");
}

TEST(PolicyExplanation, NamesTheBaseProfileAndTheLineThatIncludesIt) {
  EXPECT_EQ(shown(vanto::explainPath(compiled("\ninclude temporary"), Right::Create, "/tmp/x")), "/tmp@temporary:2");
}

TEST(PolicyExplanation, NamesEachStatementThatAllowsAPort) {
  const Policy policy = compiled("allow connect tcp 80\nallow connect tcp 79-81 80\nallow network\n");
  EXPECT_EQ(shown(vanto::explainPort(policy, Right::Connect, 80)), "80@:1 80@:2 80@:2 @:3");
  EXPECT_EQ(shown(vanto::explainPort(policy, Right::Bind, 80)), "@:3");
  EXPECT_EQ(shown(vanto::explainPort(compiled("allow bind tcp 80"), Right::Connect, 80)), "");
}

TEST(PolicyExplanation, NamesEachStatementThatAllowsARightOfItsOwn) {
  const Policy policy = compiled("allow signal\nallow processes\nallow signal\n");
  EXPECT_EQ(shown(vanto::explainRight(policy, Right::Signal)), "@:1 @:3");
  EXPECT_EQ(shown(vanto::explainRight(policy, Right::Abstract)), "");
  EXPECT_EQ(shown(vanto::explainRight(policy, Right::System)), "");
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyDifference.h"

#include "host/sandbox/Compiled.h"

namespace {

using vanto::PolicyChange;
using vanto::testing::compiled;

/// One line a change: sign, right, subject, line.
std::string difference(std::string_view older, std::string_view newer) {
  std::string text;
  for (const PolicyChange& change : vanto::differenceOf(compiled(older), compiled(newer))) {
    constexpr std::array signs{"+", "-", "require ", "no longer require "};
    text += std::string(signs[static_cast<std::size_t>(change.kind)]) + std::string(vanto::nameOf(change.right));
    if (!change.subject.empty()) text += " " + change.subject;
    if (change.line.line != 0) text += " " + std::to_string(change.line.line);
    text += "\n";
  }
  return text;
}

TEST(PolicyDifference, IsNothingBetweenPoliciesThatAllowTheSame) {
  EXPECT_EQ(difference("", "network none"), "");
  EXPECT_EQ(difference("allow read /a /b\n", "# other\nallow read /b\nallow read /a\n"), "");
  EXPECT_EQ(difference("allow read /a", "allow read /a /a/b"), "");
  EXPECT_EQ(difference("allow read /a /a/b", "allow read /a"), "");
  EXPECT_EQ(difference("allow network", "allow network\nallow connect tcp 80"), "");
}

TEST(PolicyDifference, IsWhatOneAllowsAndTheOtherDoesNot) {
  EXPECT_EQ(difference("allow read /a", "\nallow read,create /a /b"), "+create /a 2\n+read /b 2\n+create /b 2\n");
  EXPECT_EQ(difference("allow read /a/b", "allow read /a"), "+read /a 1\n");
  EXPECT_EQ(difference("allow read /a", "allow read /a/b"), "-read /a 1\n");
  EXPECT_EQ(difference("allow write /a", "allow truncate /a"), "-write /a 1\n");
  EXPECT_EQ(difference("allow read /a", "allow read /ab"), "+read /ab 1\n-read /a 1\n");
}

TEST(PolicyDifference, ShowsOfNewPathsTheOuterOne) {
  EXPECT_EQ(difference("", "allow read /a/b\nallow read /a\n"), "+read /a 2\n");
}

TEST(PolicyDifference, ShowsPortsAndTheNetwork) {
  EXPECT_EQ(difference("allow connect tcp 80", "allow connect tcp 81\nallow bind tcp 80"),
            "+bind 80 2\n+connect 81 1\n-connect 80 1\n");
  EXPECT_EQ(difference("allow connect tcp 80", "allow network"), "+network 1\n");
  EXPECT_EQ(difference("allow network", "allow connect tcp 80"), "-network 1\n");
}

TEST(PolicyDifference, ShowsOtherRightsAndRequirements) {
  EXPECT_EQ(difference("allow signal\nrequire read", "allow processes\nrequire read write"),
            "+processes 1\nrequire write\n-signal 1\n");
  EXPECT_EQ(difference("require read", ""), "no longer require read\n");
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
#include "vanto/LearnedPolicy.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "sandbox/PolicyText.h"
#include "support/TemporaryDirectory.h"
#include "value/limits.h"

namespace vanto::tool {
namespace {

constexpr timespec end{INT64_MAX, 0};

class LearnedPolicyTest : public ::testing::Test {
 protected:
  LearnedPolicyTest() {
    for (const char* name : {"a", "b"}) std::filesystem::create_directory(directory_ / name);
    std::ofstream(directory_ / "a/f") << "x";
  }

  LearnedPolicy learned() const { return LearnedPolicy::of(facts_, end); }
  /// The text of what was learned, without version and with the directory as "D".
  std::string lines() const {
    std::string text = textOf(learned().policy);
    text.erase(0, text.find('\n') + 1);
    for (std::size_t at = text.find(directory_.path()); at != text.npos; at = text.find(directory_.path())) {
      text.replace(at, directory_.path().size(), "D");
    }
    return text;
  }

  test::TemporaryDirectory directory_;
  learning::RunFacts facts_;
};

TEST_F(LearnedPolicyTest, AllowsNothingForARunThatDidNothing) {
  EXPECT_EQ(lines(), "network none\n");
  EXPECT_FALSE(learned().includesBase);
}

TEST_F(LearnedPolicyTest, LeavesToTheBaseProfileWhatThatGives) {
  facts_.used = {{"/etc/passwd", Right::Read}, {"/etc/shadow", Right::Read}, {"/dev/null", Right::Write}};
  EXPECT_EQ(lines(), "allow read /etc/shadow\nnetwork none\n");
  EXPECT_TRUE(learned().includesBase);
}

TEST_F(LearnedPolicyTest, NamesNothingTwice) {
  facts_.used = {{directory_ / "a", Right::Read}, {directory_ / "a/f", RightSet(Right::Read) | Right::Write}};
  EXPECT_EQ(lines(), "allow read D/a\nallow write D/a/f\nnetwork none\n");
}

TEST_F(LearnedPolicyTest, AllowsWhatAProgramIsExecutedBy) {
  facts_.executed = {"/usr/bin/env"};
  const std::string text = lines();
  EXPECT_NE(text.find("allow read,execute /usr/bin/env\n"), text.npos);
  EXPECT_EQ(std::ranges::count(text, '\n'), 3);
  EXPECT_TRUE(learned().includesBase);
}

TEST_F(LearnedPolicyTest, SaysWhenItCannotTellWhatExecutesAProgram) {
  facts_.executed = {directory_ / "a/f"};
  EXPECT_EQ(lines(), "allow read,execute D/a/f\nnetwork none\n");
  EXPECT_EQ(learned().remarks.size(), 1U);
}

TEST_F(LearnedPolicyTest, AllowsNamesInTheirDirectories) {
  facts_.made = {directory_ / "a/new"};
  facts_.removed = {directory_ / "b/old"};
  EXPECT_EQ(lines(), "allow create D/a\nallow remove D/b\nnetwork none\n");
}

TEST_F(LearnedPolicyTest, AllowsRenamingAcrossDirectoriesOnly) {
  facts_.moved = {{directory_ / "a/f", directory_ / "a/g"}};
  EXPECT_EQ(lines(), "network none\n");
  facts_.moved = {{directory_ / "a/f", directory_ / "b/f"}};
  EXPECT_EQ(lines(), "allow rename D/a\nallow rename D/b\nnetwork none\n");
}

TEST_F(LearnedPolicyTest, AllowsAtTheSourceOfAMoveWhatTheTargetAllows) {
  facts_.moved = {{directory_ / "a/f", directory_ / "b/f"}};
  facts_.used = {{directory_ / "b", Right::Read}};
  facts_.removed = {directory_ / "b/f"};
  EXPECT_EQ(lines(), "allow read,rename D/a\nallow read,remove,rename D/b\nnetwork none\n");
  const auto remarks = learned().remarks;
  EXPECT_TRUE(std::ranges::any_of(remarks, [&](const std::string& remark) {
    return remark.starts_with("read is allowed for " + directory_ / "a" + " because");
  }));
}

TEST_F(LearnedPolicyTest, SaysThatListingIsReadingAll) {
  facts_.used = {{directory_ / "a", Right::Read}};
  EXPECT_EQ(learned().remarks.size(), 1U);
  facts_.used = {{directory_ / "a/f", Right::Read}};
  EXPECT_TRUE(learned().remarks.empty());
}

TEST_F(LearnedPolicyTest, AllowsPortsUnlessTheWholeNetworkIsNeeded) {
  facts_.boundPorts = {80};
  facts_.connectedPorts = {443};
  EXPECT_EQ(lines(), "allow bind tcp 80\nallow connect tcp 443\n");
  facts_.others = Right::Network;
  EXPECT_EQ(lines(), "allow network\n");
}

TEST_F(LearnedPolicyTest, AllowsSomePortToATcpSocketWithout) {
  facts_.hasTcp = true;
  EXPECT_EQ(lines(), "allow bind tcp 0\n");
}

TEST_F(LearnedPolicyTest, SaysThatAPortWasChosenByTheKernel) {
  unsigned port = 0;
  std::ifstream("/proc/sys/net/ipv4/ip_local_port_range") >> port;
  facts_.connectedPorts = {static_cast<std::uint16_t>(port)};
  EXPECT_EQ(learned().remarks.size(), 1U);
}

TEST_F(LearnedPolicyTest, HasRightsWithoutPlaces) {
  facts_.others = RightSet(Right::Abstract) | Right::Signal | Right::Processes;
  EXPECT_EQ(lines(), "network none\nallow abstract\nallow signal\nallow processes\n");
}

TEST_F(LearnedPolicyTest, NamesADirectoryInPlaceOfMoreFilesThanAProfileCan) {
  for (std::size_t number = 0; number <= limits::profileGrants; ++number) {
    facts_.used.emplace(directory_ / ("a/" + std::to_string(number)), Right::Read);
  }
  facts_.used.emplace(directory_ / "b/x", Right::Read);
  EXPECT_EQ(lines(), "allow read D/a\nallow read D/b/x\nnetwork none\n");
  EXPECT_EQ(learned().problem, "");
  EXPECT_EQ(learned().remarks.size(), 1U);
}

TEST_F(LearnedPolicyTest, IsNoneForMorePortsThanAProfileCanName) {
  for (std::size_t port = 1; port <= limits::profileGrants + 1; ++port) {
    facts_.boundPorts.insert(static_cast<std::uint16_t>(port));
  }
  EXPECT_NE(learned().problem, "");
}

}  // namespace
}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/LearnedPolicy.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "sandbox/Landlock.h"
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

  LearnedPolicy learned() const { return LearnedPolicy::of(facts_, end, purpose_, given_); }
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
  LearnedPolicy::Purpose purpose_ = LearnedPolicy::Purpose::Command;
  /// By the platform.
  std::vector<PlannedPath> given_;
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

TEST_F(LearnedPolicyTest, AllowsTheCommandItselfForRunsUnderTheProfileOnly) {
  facts_.program = "/usr/bin/env";
  EXPECT_NE(lines().find("allow read,execute /usr/bin/env\n"), std::string::npos);
  EXPECT_EQ(learned().remarks, std::set<std::string>{"execute of /usr/bin/env and of what executes it is for vanto "
                                                     "profile run; a service is confined later"});
  purpose_ = LearnedPolicy::Purpose::Service;
  EXPECT_EQ(lines(), "network none\n");
  EXPECT_TRUE(learned().remarks.empty());
  facts_.executed = {facts_.program};
  EXPECT_NE(lines().find("allow read,execute /usr/bin/env\n"), std::string::npos);
}

TEST_F(LearnedPolicyTest, LeavesToThePlatformWhatThatGives) {
  given_ = {{directory_ / "a", landlock::readDirectory | landlock::makeSocket | landlock::removeFile},
            {directory_ / "a/s", landlock::resolveUnix}};
  facts_.used = {{directory_ / "a", Right::Read}, {directory_ / "a/s", Right::Socket}};
  facts_.made = facts_.sockets = facts_.removed = {directory_ / "a/s"};
  EXPECT_EQ(lines(), "network none\n");
  EXPECT_TRUE(learned().remarks.empty());
  given_.clear();
  EXPECT_EQ(lines(), "allow read,create,remove,socket D/a\nnetwork none\n");
}

TEST_F(LearnedPolicyTest, AllowsWhatIsMoreThanThePlatformGives) {
  given_ = {{directory_ / "a", landlock::readDirectory | landlock::makeSocket | landlock::removeFile}};
  facts_.used = {{directory_ / "a/f", Right::Read}};
  EXPECT_EQ(lines(), "allow read D/a/f\nnetwork none\n");
  facts_.used.clear();
  facts_.made = {directory_ / "a/new"};
  EXPECT_EQ(lines(), "allow create D/a\nnetwork none\n");
  facts_.made.clear();
  facts_.removed = facts_.removedDirectories = {directory_ / "a/old"};
  EXPECT_EQ(lines(), "allow remove D/a\nnetwork none\n");
  facts_.removed = facts_.removedDirectories = {};
  facts_.made = facts_.sockets = {directory_ / "b/s"};
  EXPECT_EQ(lines(), "allow create D/b\nnetwork none\n");
}

TEST_F(LearnedPolicyTest, KnowsWhatIsGivenByItsRealPlace) {
  std::filesystem::create_directory_symlink(directory_ / "a", directory_ / "link");
  given_ = {{directory_ / "link", landlock::readFile}};
  facts_.used = {{directory_ / "a/f", Right::Read}};
  EXPECT_EQ(lines(), "network none\n");
}

TEST_F(LearnedPolicyTest, NamesAllProcessesForThoseOfOthers) {
  facts_.ofOtherProcesses = Right::Read;
  EXPECT_EQ(lines(), "allow read /proc\nnetwork none\n");
  EXPECT_EQ(learned().remarks.size(), 1U);
  given_ = {{"/proc", landlock::readFile}};
  EXPECT_EQ(lines(), "network none\n");
  EXPECT_TRUE(learned().remarks.empty());
}

TEST_F(LearnedPolicyTest, NamesFilesOfProcOnKernelsTooThatLetThePlatformReadAllOfIt) {
  given_ = {{"/proc", landlock::readFile}};
  facts_.used = {{"/proc/loadavg", Right::Read}};
  EXPECT_EQ(lines(), "allow read /proc/loadavg\nnetwork none\n");
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

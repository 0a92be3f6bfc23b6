// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <random>

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/EscapeTree.h"
#include "host/sandbox/Untried.h"
#include "sandbox/Confinement.h"
#include "sandbox/PolicyExplanation.h"
#include "support/Child.h"

namespace vanto::testing {
namespace {

constexpr int profilesPerGeneration = 16;

/// Another one each time, unless the environment has it.
unsigned seedOfThisRun() {
  static const char* const given = std::getenv("VANTO_ESCAPE_SEED");
  static const unsigned seed =
      given == nullptr ? std::random_device()() : static_cast<unsigned>(std::strtoul(given, nullptr, 10));
  return seed;
}

class GeneratedProfiles : public ::testing::Test {
 protected:
  GeneratedProfiles() : tree_(scene_.outside("tree")), random_(seedOfThisRun()) {
    tree_.prepare();
    std::cout << "VANTO_ESCAPE_SEED=" << seedOfThisRun() << "\n";
    RecordProperty("seed", std::to_string(seedOfThisRun()));
  }

  GeneratedProfile nextProfile() {
    GeneratedProfile::Material material{
        tree_.paths(), {scene_.allowedPort(), scene_.otherPort()}, scene_.outside("tree")};
    return {material, random_};
  }

  EscapeScene scene_;
  const EscapeTree tree_;
  std::mt19937 random_;
};

/// With the generation of Landlock that processes are confined by.
class GeneratedEscape : public GeneratedProfiles, public ::testing::WithParamInterface<int> {
 protected:
  /// Those that have nothing to do with files.
  std::vector<EscapeAttempt> attemptsElsewhere(const GeneratedProfile& profile, int generation);

  /// errno of each attempt in one process, in their order.
  static std::vector<std::string> outcomesOf(const std::vector<EscapeAttempt>& attempts, const Policy& policy,
                                             int generation);
};

std::vector<EscapeAttempt> GeneratedEscape::attemptsElsewhere(const GeneratedProfile& profile, int generation) {
  EscapeProbes probes = socketProbes();
  for (EscapeProbes more : {processProbes(), kernelProbes()}) probes.merge(more);
  const bool hasNetwork = profile.gives(Right::Network);
  const bool hasTcp = hasNetwork || profile.givesAnyPort();
  const auto isPortClosed = [&](Right right, std::uint16_t port) {
    return !hasTcp || (generation >= 4 && !profile.gives(right, port));
  };
  const auto isScopeClosed = [&](Right right) {
    return generation >= 6 && !profile.gives(right);
  };
  const std::vector<std::pair<const char*, bool>> expected{
      {"socket-tcp", !hasTcp},
      {"socket-udp", !hasNetwork},
      {"socket-netlink", !hasNetwork},
      {"socket-mptcp", !hasNetwork},
      {"connect-allowed-port", isPortClosed(Right::Connect, scene_.allowedPort())},
      {"connect-other-port", isPortClosed(Right::Connect, scene_.otherPort())},
      {"connect-mapped-address", isPortClosed(Right::Connect, scene_.otherPort())},
      {"connect-by-sending", !hasNetwork},
      {"connect-by-sending-message", !hasNetwork},
      {"connect-by-sending-messages", !hasNetwork},
      {"bind-other-port", isPortClosed(Right::Bind, scene_.otherPort())},
      {"abstract-connect", isScopeClosed(Right::Abstract)},
      {"abstract-send", isScopeClosed(Right::Abstract)},
      {"unix-connect", generation >= 9},
      {"signal", isScopeClosed(Right::Signal)},
      {"signal-by-descriptor", isScopeClosed(Right::Signal)},
      {"fork", !profile.gives(Right::Processes)},
      {"vfork", !profile.gives(Right::Processes)},
      {"clone", !profile.gives(Right::Processes)},
      {"clone3", true},
      {"clone-namespaces", true},
      {"unshare-user", true},
      {"trace", true},
      {"take-descriptor", true},
      {"mount", true},
      {"open-tree", true},
      {"change-root", true},
      {"io-uring-setup", true},
      {"keys-control", true},
      {"bpf", true},
  };
  std::vector<EscapeAttempt> attempts;
  for (const auto& [name, isClosed] : expected) {
    attempts.push_back({name, [probe = probes.at(name), this] { return probe(scene_); }, isClosed});
  }
  return attempts;
}

std::vector<std::string> GeneratedEscape::outcomesOf(const std::vector<EscapeAttempt>& attempts, const Policy& policy,
                                                     int generation) {
  const ChildOutcome outcome = runInChild([&](const ChildReport& report) {
    const Receipt receipt = Confinement(kernelRightsOf(generation)).enter(policy);
    EXPECT_EQ(receipt.error, "");
    if (!receipt.error.empty()) return;
    for (const EscapeAttempt& attempt : attempts) report(std::to_string(attempt.attempt()));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  return outcome.lines;
}

TEST_P(GeneratedEscape, IsPossibleAsTheProfileSays) {
  const int generation = std::min(GetParam(), generationOfThisKernel());
  if (generation != GetParam()) {
    announceUntried("generation", "this kernel's Landlock is no newer than " + std::to_string(generation));
  }
  for (int count = 0; count < profilesPerGeneration; ++count) {
    const GeneratedProfile profile = nextProfile();
    tree_.prepare();
    std::vector<EscapeAttempt> attempts = tree_.attempts(profile, generation);
    std::ranges::move(attemptsElsewhere(profile, generation), std::back_inserter(attempts));
    ASSERT_GE(attempts.size(), 60U);
    const auto outcomes = outcomesOf(attempts, compiled(profile.text(), profile.parameters()), GetParam());
    ASSERT_EQ(outcomes.size(), attempts.size()) << profile.text();
    for (std::size_t index = 0; index < attempts.size(); ++index) {
      EXPECT_EQ(isDenial(std::stoi(outcomes[index])), attempts[index].isClosed)
          << attempts[index].name << " gives " << outcomes[index] << " in generation " << generation << " under\n"
          << profile.text();
    }
  }
}

// Without Landlock, generation 0, no profile is entered.
INSTANTIATE_TEST_SUITE_P(Generations, GeneratedEscape, ::testing::Range(1, landlockGenerations + 1));

TEST_F(GeneratedProfiles, AreExplainedAsTheyWereMade) {
  for (int count = 0; count < profilesPerGeneration; ++count) {
    const GeneratedProfile profile = nextProfile();
    const Policy policy = compiled(profile.text(), profile.parameters());
    for (const std::string& path : tree_.paths()) {
      for (const Right right : allRights) {
        if (!isRightToPath(right)) continue;
        EXPECT_EQ(!explainPath(policy, right, path).empty(), profile.gives(right, path))
            << nameOf(right) << " " << path << " under\n"
            << profile.text();
      }
    }
  }
}

TEST_F(GeneratedProfiles, AreExplainedAsTheKernelSeesThem) {
  if (generationOfThisKernel() == 0) return announceUntried("explanation", "this kernel has no Landlock");
  for (int count = 0; count < profilesPerGeneration; ++count) {
    const GeneratedProfile profile = nextProfile();
    const Policy policy = compiled(profile.text(), profile.parameters());
    const ChildOutcome outcome = runInChild([&](const ChildReport&) {
      ASSERT_EQ(Confinement().enter(policy).error, "");
      for (const std::string& path : tree_.paths()) {
        // Each is a file or has something in it, so that nothing goes.
        const bool isDenied = isDenial(outcomeOf(rmdir(path.c_str())));
        EXPECT_EQ(explainPath(policy, Right::Remove, decidingPlace(Right::Remove, path)).empty(), isDenied)
            << path << " under\n"
            << profile.text();
      }
    });
    EXPECT_EQ(outcome.end, "exit status 0");
  }
}

}  // namespace
}  // namespace vanto::testing

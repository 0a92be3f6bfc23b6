// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
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

/// What a profile closes of the ways that have nothing to do with files.
class Confines {
 public:
  Confines(const GeneratedProfile& profile, int generation, const EscapeScene& scene)
      : profile_(profile), generation_(generation), scene_(scene) {}

  [[nodiscard]] bool always() const { return true; }
  [[nodiscard]] bool network() const { return !profile_.gives(Right::Network); }
  [[nodiscard]] bool tcp() const { return network() && !profile_.givesAnyPort(); }
  [[nodiscard]] bool connectingAllowed() const { return isPortClosed(Right::Connect, scene_.allowedPort()); }
  [[nodiscard]] bool connectingOther() const { return isPortClosed(Right::Connect, scene_.otherPort()); }
  [[nodiscard]] bool bindingOther() const { return isPortClosed(Right::Bind, scene_.otherPort()); }
  [[nodiscard]] bool abstractSockets() const { return isScopeClosed(Right::Abstract); }
  [[nodiscard]] bool signals() const { return isScopeClosed(Right::Signal); }
  [[nodiscard]] bool unixSockets() const { return generation_ >= 9; }
  [[nodiscard]] bool processes() const { return !profile_.gives(Right::Processes); }

 private:
  [[nodiscard]] bool isPortClosed(Right right, std::uint16_t port) const {
    return tcp() || (generation_ >= 4 && !profile_.gives(right, port));
  }
  [[nodiscard]] bool isScopeClosed(Right right) const { return generation_ >= 6 && !profile_.gives(right); }

  const GeneratedProfile& profile_;
  int generation_;
  const EscapeScene& scene_;
};

struct WayElsewhere {
  const char* probe;
  bool (Confines::*isClosed)() const;
};

constexpr auto waysElsewhere = std::to_array<WayElsewhere>({
    {"socket-tcp", &Confines::tcp},
    {"socket-udp", &Confines::network},
    {"socket-netlink", &Confines::network},
    {"socket-mptcp", &Confines::network},
    {"connect-allowed-port", &Confines::connectingAllowed},
    {"connect-other-port", &Confines::connectingOther},
    {"connect-mapped-address", &Confines::connectingOther},
    {"connect-by-sending", &Confines::network},
    {"connect-by-sending-message", &Confines::network},
    {"connect-by-sending-messages", &Confines::network},
    {"bind-other-port", &Confines::bindingOther},
    {"abstract-connect", &Confines::abstractSockets},
    {"abstract-send", &Confines::abstractSockets},
    {"unix-connect", &Confines::unixSockets},
    {"signal", &Confines::signals},
    {"signal-by-descriptor", &Confines::signals},
    {"fork", &Confines::processes},
    {"vfork", &Confines::processes},
    {"clone", &Confines::processes},
    {"clone3", &Confines::always},
    {"clone-namespaces", &Confines::always},
    {"unshare-user", &Confines::always},
    {"trace", &Confines::always},
    {"take-descriptor", &Confines::always},
    {"mount", &Confines::always},
    {"open-tree", &Confines::always},
    {"change-root", &Confines::always},
    {"io-uring-setup", &Confines::always},
    {"keys-control", &Confines::always},
    {"bpf", &Confines::always},
});

/// With the generation of Landlock that processes are confined by.
class GeneratedEscape : public GeneratedProfiles, public ::testing::WithParamInterface<int> {
 protected:
  std::vector<EscapeAttempt> attemptsElsewhere(const GeneratedProfile& profile, int generation);

  /// errno of each attempt in one process, in their order.
  static std::vector<std::string> outcomesOf(const std::vector<EscapeAttempt>& attempts, const Policy& policy,
                                             int generation);
};

std::vector<EscapeAttempt> GeneratedEscape::attemptsElsewhere(const GeneratedProfile& profile, int generation) {
  EscapeProbes probes = socketProbes();
  for (EscapeProbes more : {processProbes(), kernelProbes()}) probes.merge(more);
  const Confines confines(profile, generation, scene_);
  std::vector<EscapeAttempt> attempts;
  for (const auto& [name, isClosed] : waysElsewhere) {
    attempts.push_back({name, [probe = probes.at(name), this] { return probe(scene_); }, (confines.*isClosed)()});
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

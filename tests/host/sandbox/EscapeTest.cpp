// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/EscapeScene.h"
#include "host/sandbox/Untried.h"
#include "sandbox/Confinement.h"
#include "support/Child.h"

namespace vanto::testing {
namespace {

/// A row of the table in docs/security.md.
struct Escape {
  std::string name;
  std::string profile;
  std::string closedFrom;
};

std::vector<Escape> readTable() {
  std::vector<Escape> escapes;
  std::ifstream file(VANTO_SECURITY_TABLE);
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("| `")) continue;
    std::vector<std::string> cells;
    std::istringstream row(line.substr(2));
    for (std::string cell; std::getline(row, cell, '|');) cells.push_back(cell);
    EXPECT_EQ(cells.size(), 4U) << line;
    const auto trimmed = [&](std::size_t cell) {
      const std::size_t start = cells[cell].find_first_not_of(" `");
      return cells[cell].substr(start, cells[cell].find_last_not_of(" `") - start + 1);
    };
    escapes.push_back({trimmed(0), trimmed(2), trimmed(3)});
  }
  return escapes;
}

EscapeProbes everyProbe() {
  EscapeProbes probes = fileProbes();
  for (EscapeProbes more : {processProbes(), settingProbes(), sharedProbes(), socketProbes(), kernelProbes()})
    probes.merge(more);
  return probes;
}

/// One process that tries one way: what the probe gives, 0 where it was open. Without a generation unconfined.
int outcomeOf(EscapeScene& scene, EscapeProbe probe, const std::string& profile, std::optional<int> generation) {
  const ChildOutcome outcome = runInChild([&](const ChildReport& report) {
    scene.prepare();
    if (generation) {
      const Receipt receipt = Confinement(kernelRightsOf(*generation)).enter(compiled(scene.profile(profile)));
      // Without Landlock a profile is refused, and the process is unconfined.
      const bool isEntered = std::min(*generation, generationOfThisKernel()) != 0;
      EXPECT_EQ(receipt.error.empty(), isEntered) << receipt.error;
      EXPECT_EQ(receipt.witness, isEntered ? WitnessResult::Denied : WitnessResult::Untested);
      if (receipt.error.empty() != isEntered) return;
    }
    report(std::to_string(probe(scene)));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  // Where execution works, nothing is left that could report.
  return outcome.lines.empty() ? 0 : std::stoi(outcome.lines[0]);
}

bool isExpectedClosed(const Escape& escape, int generation) {
  if (escape.closedFrom == "any") return generation != 0;
  return escape.closedFrom != "never" && generation >= std::stoi(escape.closedFrom);
}

/// Names between blanks.
class Names {
 public:
  void add(const std::string& name) { text_ += (text_.empty() ? "" : " ") + name; }
  void announce(const std::string& why) const {
    if (!text_.empty()) announceUntried("ways", why + ": " + text_);
  }

 private:
  std::string text_;
};

TEST(Escape, TheTableNamesEachWayOnce) {
  std::set<std::string> named;
  for (const Escape& escape : readTable()) {
    EXPECT_TRUE(named.insert(escape.name).second) << escape.name;
    EXPECT_TRUE(escape.profile == "closed" || escape.profile == "open") << escape.name;
  }
  std::set<std::string> tried;
  for (const auto& [name, probe] : everyProbe()) tried.insert(name);
  EXPECT_EQ(named, tried);
  EXPECT_GE(named.size(), 60U);
}

TEST(Escape, EachWayIsOpenToTheUnconfined) {
  EscapeScene scene;
  EscapeProbes probes = everyProbe();
  Names untried;
  for (const Escape& escape : readTable()) {
    const int outcome = outcomeOf(scene, probes.at(escape.name), escape.profile, std::nullopt);
    // Some ways are root's alone.
    if (outcome == noSuchWay || (geteuid() != 0 && isDenial(outcome))) {
      untried.add(escape.name);
    } else {
      EXPECT_FALSE(isDenial(outcome)) << escape.name << " gives " << outcome;
    }
  }
  untried.announce("not open on this machine, or to this user");
}

class EscapeFrom : public ::testing::TestWithParam<int> {};

TEST_P(EscapeFrom, IsPossibleAsTheTableSays) {
  const int generation = std::min(GetParam(), generationOfThisKernel());
  if (generation != GetParam())
    announceUntried("generation", "this kernel's Landlock is no newer than " + std::to_string(generation));
  EscapeScene scene;
  EscapeProbes probes = everyProbe();
  Names untried;
  for (const Escape& escape : readTable()) {
    const int outcome = outcomeOf(scene, probes.at(escape.name), escape.profile, GetParam());
    const bool isClosed = isExpectedClosed(escape, generation);
    // What is root's alone fails for others in any case.
    if (outcome == noSuchWay || (geteuid() != 0 && !isClosed && escape.closedFrom != "never")) {
      untried.add(escape.name);
    } else {
      EXPECT_EQ(isDenial(outcome), isClosed) << escape.name << " gives " << outcome << " in generation " << generation;
    }
  }
  untried.announce("not on this machine, or not by this user");
}

INSTANTIATE_TEST_SUITE_P(Generations, EscapeFrom, ::testing::Range(0, landlockGenerations + 1));

}  // namespace
}  // namespace vanto::testing

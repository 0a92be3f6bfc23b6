// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <fstream>
#include <set>
#include <sstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/EscapeScene.h"
#include "sandbox/Confinement.h"
#include "sandbox/KernelProbe.h"
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
  for (EscapeProbes more : {processProbes(), sharedProbes(), socketProbes(), kernelProbes()}) probes.merge(more);
  return probes;
}

bool isDenial(const std::string& outcome) {
  // The last is how links and renames across directories are refused.
  for (const int error : {EPERM, EACCES, EXDEV}) {
    if (outcome == std::to_string(error)) return true;
  }
  return false;
}

/// The last generation of which this kernel has everything; 0 for none.
int generationOfThisKernel() {
  const std::optional<KernelRights> kernel = probeKernelRights();
  EXPECT_TRUE(kernel.has_value());
  int generation = 0;
  for (int next = 1; next <= landlockGenerations; ++next) {
    if (commonRightsOf(*kernel, kernelRightsOf(next)) == kernelRightsOf(next)) generation = next;
  }
  return generation;
}

/// One process that tries one way: errno as a text, "0" where the way was open. Without a generation unconfined.
std::string outcomeOf(EscapeScene& scene, EscapeProbe probe, const std::string& profile,
                      std::optional<int> generation) {
  const ChildOutcome outcome = runInChild([&](const ChildReport& report) {
    scene.prepare();
    if (generation) {
      const Receipt receipt = Confinement(kernelRightsOf(*generation)).enter(compiled(scene.profile(profile)));
      EXPECT_EQ(receipt.error, "");
      EXPECT_EQ(receipt.witness, WitnessResult::Denied);
      if (!receipt.error.empty()) return;
    }
    report(std::to_string(probe(scene)));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  // Where execution works, nothing is left that could report.
  return outcome.lines.empty() ? "0" : outcome.lines[0];
}

bool isExpectedClosed(const Escape& escape, int generation) {
  if (escape.closedFrom == "any") return true;
  return escape.closedFrom != "never" && generation >= std::stoi(escape.closedFrom);
}

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
  int unshown = 0;
  for (const Escape& escape : readTable()) {
    const std::string outcome = outcomeOf(scene, probes.at(escape.name), escape.profile, std::nullopt);
    // Some ways are root's alone.
    if (geteuid() != 0 && isDenial(outcome)) {
      unshown++;
      continue;
    }
    EXPECT_FALSE(isDenial(outcome)) << escape.name << " gives " << outcome;
  }
  RecordProperty("unshown", unshown);
}

class EscapeFrom : public ::testing::TestWithParam<int> {};

TEST_P(EscapeFrom, IsPossibleAsTheTableSays) {
  const int generation = std::min(GetParam(), generationOfThisKernel());
  EscapeScene scene;
  EscapeProbes probes = everyProbe();
  for (const Escape& escape : readTable()) {
    const std::string outcome = outcomeOf(scene, probes.at(escape.name), escape.profile, GetParam());
    // What is root's alone fails for others in any case.
    if (geteuid() != 0 && !isExpectedClosed(escape, generation) && escape.closedFrom != "never") continue;
    EXPECT_EQ(isDenial(outcome), isExpectedClosed(escape, generation))
        << escape.name << " gives " << outcome << " in generation " << generation;
  }
}

INSTANTIATE_TEST_SUITE_P(Generations, EscapeFrom, ::testing::Range(0, landlockGenerations + 1));

}  // namespace
}  // namespace vanto::testing

// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Witness.h"

#include <vector>

#include <fcntl.h>

#include "host/sandbox/Compiled.h"
#include "sandbox/Enforcement.h"
#include "sandbox/KernelProbe.h"
#include "support/Child.h"

namespace vanto::testing {
namespace {

Plan planFor(std::string_view profile, int generation = landlockGenerations) {
  return planOf(compiled(profile), kernelRightsOf(generation), Machine::X86_64);
}

TEST(Witness, TriesWhatTheProfileForbids) {
  EXPECT_EQ(Witness(planFor("")).subject(), "list /, make a UDP socket, call unshare");
  EXPECT_EQ(Witness(planFor("allow network")).subject(), "list /, call unshare");
  EXPECT_EQ(Witness(planFor("allow read /")).subject(), "make a UDP socket, call unshare");
  EXPECT_EQ(Witness(planFor("", 0)).subject(), "");
}

TEST(Witness, SeesAPlanThatIsNotInForce) {
  EXPECT_EQ(Witness(planFor("")).result(), WitnessResult::Allowed);
}

TEST(Witness, HasNothingToTryWhereNothingIsEnforced) {
  KernelRights kernel;
  const Witness witness(planOf(compiled(""), kernel, std::nullopt));
  EXPECT_EQ(witness.subject(), "");
  EXPECT_EQ(witness.result(), WitnessResult::Untested);
}

TEST(Witness, SeesThatHalfAPlanIsNotInForce) {
  const ChildOutcome outcome = runInChild([](const ChildReport&) {
    const Plan whole = planOf(compiled(""), *probeKernelRights(), thisMachine());
    Witness witness(whole);
    Plan half = whole;
    half.filter.clear();
    Enforcement first(half);
    EXPECT_EQ(first.prepare(), "");
    EXPECT_EQ(first.enter(), "");
    witness.tryAgain();
    EXPECT_EQ(witness.result(), WitnessResult::Allowed);
    EXPECT_EQ(witness.possible(), "make a UDP socket, call unshare");
    Enforcement second(whole);
    EXPECT_EQ(second.prepare(), "");
    EXPECT_EQ(second.enter(), "");
    witness.tryAgain();
    EXPECT_EQ(witness.result(), WitnessResult::Denied);
    EXPECT_EQ(witness.possible(), "");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Witness, TakesNoWantOfDescriptorsForADenial) {
  const ChildOutcome outcome = runInChild([](const ChildReport&) {
    Witness witness(planFor("allow processes"));
    std::vector<Fd> all;
    for (Fd one(open("/", O_PATH | O_CLOEXEC)); one; one = Fd(open("/", O_PATH | O_CLOEXEC))) {
      all.push_back(std::move(one));
    }
    witness.tryAgain();
    EXPECT_EQ(witness.subject(), "call unshare");
    EXPECT_EQ(Witness(planFor("")).subject(), "call unshare");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::testing

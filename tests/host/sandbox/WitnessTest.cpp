// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Witness.h"

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
  EXPECT_EQ(Witness(planFor("", 0)).subject(), "make a UDP socket, call unshare");
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
    const Witness witness(whole);
    Plan half = whole;
    half.filter.clear();
    Enforcement first(half);
    EXPECT_EQ(first.prepare(), "");
    EXPECT_EQ(first.enter(), "");
    EXPECT_EQ(witness.result(), WitnessResult::Allowed);
    Enforcement second(whole);
    EXPECT_EQ(second.prepare(), "");
    EXPECT_EQ(second.enter(), "");
    EXPECT_EQ(witness.result(), WitnessResult::Denied);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::testing

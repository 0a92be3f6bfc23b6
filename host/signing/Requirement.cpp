// SPDX-License-Identifier: Apache-2.0
#include "signing/Requirement.h"

#include <algorithm>

#include <VantoService/PlistNumber.h>

#include "value/WorkStack.h"
#include "value/limits.h"

namespace vanto {

namespace {

/// The truth values that wait while the innermost level of a requirement is looked at: in each level what stands before
/// its "or" and before its "and", and one more.
constexpr std::size_t waitingValues = 2 * (limits::requirementNesting + 1) + 1;

/// Compares the value of an entitlement with what is expected.
struct Comparison {
  Object& value;

  bool operator()(EntitlementTest::Granted) const noexcept { return &value != PlistBoolean::of(false); }
  bool operator()(EntitlementTest::Present) const noexcept { return true; }
  bool operator()(const EntitlementTest::Text& text) const noexcept {
    const auto* string = as<PlistString>(&value);
    return string != nullptr && string->isEqualToText(text.value);
  }
  bool operator()(std::int64_t number) const { return value.isEqual(PlistNumber::create(number).get()); }
  bool operator()(double number) const { return value.isEqual(PlistNumber::create(number).get()); }
  bool operator()(bool truth) const noexcept { return &value == PlistBoolean::of(truth); }
};

bool isMet(const EntitlementTest& test, const CodeFacts& facts) {
  Object* value = facts.entitlements ? facts.entitlements->valueForKey(test.key) : nullptr;
  return value != nullptr && std::visit(Comparison{*value}, test.expected);
}

/// What is not known of valid code counts for nothing, or everybody could say it of themselves; the digest is what was
/// measured.
bool isMet(const RequirementTerm& term, const CodeFacts& facts) {
  switch (term.kind) {
    case RequirementTerm::Kind::Valid:
      return facts.isValid;
    case RequirementTerm::Kind::Digest:
      return facts.digestHex == term.text;
    case RequirementTerm::Kind::Identifier:
      return facts.isValid && facts.identifier == term.text;
    case RequirementTerm::Kind::Signer:
      return facts.isValid && std::ranges::find(facts.signerNames, term.text) != facts.signerNames.end();
    case RequirementTerm::Kind::Entitlement:
      return facts.isValid && isMet(term.entitlement, facts);
  }
  return false;
}

}  // namespace

std::vector<Requirement::Finding> Requirement::findings(const CodeFacts& facts) const {
  std::vector<Finding> found;
  for (const RequirementTerm& term : terms_) found.push_back({textOf(term), isMet(term, facts)});
  return found;
}

bool Requirement::isSatisfiedBy(const CodeFacts& facts) const {
  WorkStack<bool, waitingValues> values;
  for (const RequirementStep& step : steps_) {
    if (step.kind == RequirementStep::Kind::Term) {
      values.push(isMet(terms_[step.term], facts));
    } else if (step.kind == RequirementStep::Kind::Not) {
      values.top() = !values.top();
    } else {
      const bool right = values.top();
      values.shrink(values.size() - 1);
      const bool left = values.top();
      values.top() = step.kind == RequirementStep::Kind::And ? left && right : left || right;
    }
  }
  return values.top();
}

}  // namespace vanto

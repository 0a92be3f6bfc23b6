// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "signing/CodeFacts.h"

namespace vanto {

/// What is asked of one entitlement.
struct EntitlementTest {
  /// What its value must be equal to, by kind and value.
  struct Text {
    std::string value;
  };
  /// Its value is there and not false.
  struct Granted {};
  /// Its value is there, whatever it is.
  struct Present {};

  std::string key;
  std::variant<Granted, Present, Text, std::int64_t, double, bool> expected;
};

/// A condition on one of the facts.
struct RequirementTerm {
  enum class Kind : std::uint8_t { Valid, Identifier, Signer, Digest, Entitlement };

  Kind kind = Kind::Valid;
  /// The identifier, name or digest; of a digest, and of a signer that is a fingerprint, in lower case.
  std::string text;
  EntitlementTest entitlement;
};

/// The condition as a text that compiles to it.
[[nodiscard]] std::string textOf(const RequirementTerm& term);

/// A step of a requirement: each takes what it needs from a stack of truth values and leaves its result there.
struct RequirementStep {
  enum class Kind : std::uint8_t { Term, Not, And, Or };

  Kind kind = Kind::Term;
  /// Of a term, its index.
  std::uint32_t term = 0;
};

/// A compiled requirement. Immutable; any thread may use it.
class Requirement {
 public:
  /// The steps leave exactly one truth value; compileRequirement() makes such.
  Requirement(std::vector<RequirementStep> steps, std::vector<RequirementTerm> terms) noexcept
      : steps_(std::move(steps)), terms_(std::move(terms)) {}

  /// Whether code of which this is known satisfies the requirement.
  [[nodiscard]] bool isSatisfiedBy(const CodeFacts& facts) const;

  /// A condition of the requirement, as a text, and whether it holds.
  struct Finding {
    std::string text;
    bool holds;
  };
  /// Each condition by itself, in the order of the text.
  [[nodiscard]] std::vector<Finding> findings(const CodeFacts& facts) const;

  /// The requirement as a text that compiles to the same, with no more parentheses than it needs. It can be longer than
  /// the text it was compiled from, by the blanks that were not there.
  [[nodiscard]] std::string text() const;

 private:
  const std::vector<RequirementStep> steps_;
  const std::vector<RequirementTerm> terms_;
};

}  // namespace vanto

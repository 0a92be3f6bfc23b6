// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/signing/SampleFacts.h"
#include "signing/RequirementParser.h"
#include "value/limits.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void checkError(const vanto::RequirementError& error, std::string_view text) {
  require(error.line >= 1 && error.column >= 1 && error.column <= text.size() + 1);
  require(!error.problem.empty() && !error.remedy.empty());
}

}  // namespace

/// What compiles can be evaluated, and printed as a text that says the same and is then printed alike; what does not is
/// refused with a place inside the text and a remedy.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const vanto::CodeFacts samples[] = {vanto::test::validFacts(), vanto::test::invalidFacts(),
                                             vanto::test::bareFacts(), vanto::CodeFacts{}};
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  vanto::RequirementError error;
  const auto requirement = vanto::compileRequirement(text, &error);
  if (!requirement) {
    checkError(error, text);
    return 0;
  }
  const std::string printed = requirement->text();
  const auto again = vanto::compileRequirement(printed);
  // Blanks that the text did without can make it too long.
  require(again || printed.size() > vanto::limits::requirementBytes);
  require(!again || again->text() == printed);
  for (const vanto::CodeFacts& facts : samples) {
    const bool isSatisfied = requirement->isSatisfiedBy(facts);
    require(!again || again->isSatisfiedBy(facts) == isSatisfied);
  }
  return 0;
}

// SPDX-License-Identifier: Apache-2.0
#include "vanto/RequirementCheckCommand.h"

#include <memory>
#include <optional>

#include "vanto/Identity.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

using Object = std::unique_ptr<vanto_object, decltype(&vanto_release)>;

Object own(vanto_object_t object) {
  return {object, &vanto_release};
}

void printFindings(Console& console, const Identity& identity, vanto_object_t findings) {
  const bool isSatisfied = vanto_bool_get_value(vanto_dictionary_get_value(findings, "satisfied"));
  console.printLine(std::string("satisfied     ") + (isSatisfied ? "yes" : "no"));
  const code::CodeJudgement& judgement = identity.judgement;
  if (!judgement.isValid) console.printLine("valid         no: " + visible(judgement.reason));
  const vanto_object_t terms = vanto_dictionary_get_value(findings, "terms");
  for (std::size_t i = 0; i < vanto_array_get_count(terms); ++i) {
    const vanto_object_t term = vanto_array_get_value(terms, i);
    const bool holds = vanto_bool_get_value(vanto_dictionary_get_value(term, "holds"));
    console.printLine((holds ? "holds         " : "does not hold ") +
                      visible(vanto_string_get_text(vanto_dictionary_get_value(term, "text"))));
  }
}

}  // namespace

ExitStatus RequirementCheckCommand::run(Console& console) const {
  const Object compiled = own(vanto_code_check_requirement(nullptr, text.c_str()));
  if (vanto_kind(compiled.get()) == VANTO_KIND_ERROR) {
    console.printLine(visible(vanto_error_get_text(compiled.get())));
    return ExitStatus::Found;
  }
  if (against.empty()) return ExitStatus::Fine;
  std::string problem;
  const std::optional<Identity> identity = Identity::of(
      against, [&] { return places.read(console); }, problem);
  if (!identity) {
    console.complain(visible(problem));
    return ExitStatus::Failed;
  }
  const Object code = own(identity->createCode());
  const Object findings = own(vanto_code_check_requirement(code.get(), text.c_str()));
  printFindings(console, *identity, findings.get());
  const bool isSatisfied = vanto_bool_get_value(vanto_dictionary_get_value(findings.get(), "satisfied"));
  return isSatisfied ? ExitStatus::Fine : ExitStatus::Found;
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/LintCommand.h"

#include <algorithm>
#include <optional>

#include <VantoService/PlistArray.h>

#include "vanto/DocumentForm.h"
#include "vanto/Finding.h"
#include "vanto/LintedBundle.h"
#include "vanto/Progress.h"
#include "vanto/ServiceSearch.h"
#include "vanto/ServiceSummary.h"

namespace vanto::tool {
namespace {

void append(PlistMutableArray& list, const Findings& findings) {
  for (const Finding& finding : findings) {
    const Ref<PlistMutableDictionary> entry = PlistMutableDictionary::create();
    setText(*entry, "severity", nameOf(finding.severity));
    setText(*entry, "file", finding.file);
    setText(*entry, "key", finding.key);
    setText(*entry, "problem", finding.problem);
    setText(*entry, "remedy", finding.remedy);
    list.append(entry.get());
  }
}

std::string summary(std::size_t bundles, std::size_t findings) {
  const std::string looked = std::to_string(bundles) + (bundles == 1 ? " service: " : " services: ");
  if (findings == 0) return looked + "nothing found";
  return looked + std::to_string(findings) + (findings == 1 ? " finding" : " findings");
}

bool isWrong(const Finding& finding) noexcept {
  return finding.severity != Severity::Note;
}

}  // namespace

ExitStatus LintCommand::run(Console& console) const {
  ServiceSearch search;
  search.add(places);
  for (const std::string& problem : search.problems()) console.complain(problem);
  ExitStatus status = search.problems().empty() ? ExitStatus::Fine : ExitStatus::Failed;
  KnownIdentifiers known;
  const Ref<PlistMutableArray> list = PlistMutableArray::create();
  std::size_t count = 0;
  {
    Progress progress(console, "examining services", search.paths().size());
    for (const std::string& path : search.paths()) {
      const Findings findings = lintBundle(path, known);
      if (std::any_of(findings.begin(), findings.end(), isWrong)) status = worse(status, ExitStatus::Found);
      count += findings.size();
      if (!findings.empty()) progress.hide();
      if (isJson) {
        append(*list, findings);
      } else {
        for (const Finding& finding : findings) print(console, finding);
      }
      progress.advance();
    }
  }
  std::string problem;
  if (isJson) {
    console.print(writeDocument(*list, DocumentForm::Json, problem).value_or(""));
  } else if (console.output().isTerminal) {
    console.printLine(console.styled(Style::Dim, summary(search.paths().size(), count)));
  }
  return status;
}

}  // namespace vanto::tool

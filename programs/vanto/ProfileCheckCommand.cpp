// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileCheckCommand.h"

#include <optional>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistNumber.h>

#include "vanto/Columns.h"
#include "vanto/DocumentForm.h"
#include "vanto/KernelOutlook.h"
#include "vanto/ProfileDocument.h"
#include "vanto/ProfileReview.h"
#include "vanto/ServiceSummary.h"

namespace vanto::tool {
namespace {

std::string versionOf(const KernelOutlook& outlook) {
  return outlook.linuxVersion.empty() ? "older" : outlook.linuxVersion;
}

/// What becomes of the profile beside what is left open.
std::string remarkOf(const KernelOutlook& outlook) {
  if (outlook.linuxVersion.empty()) return "not entered: no Landlock";
  if (!outlook.unmet.isEmpty()) return "not entered: requires " + namesOf(outlook.unmet, " ");
  return outlook.withheld.isEmpty() ? "" : "refused: " + namesOf(outlook.withheld, " ");
}

void printOutlooks(Console& console, const std::vector<KernelOutlook>& outlooks) {
  std::vector<Row> rows;
  for (const KernelOutlook& outlook : outlooks) {
    const std::string open = namesOf(outlook.open, " ");
    rows.push_back({versionOf(outlook), remarkOf(outlook), open.empty() ? "-" : open});
  }
  printTable(console, {"FROM LINUX", "REMARK", "LEFT OPEN"}, rows);
}

void setNumber(PlistMutableDictionary& dictionary, const char* key, std::size_t value) {
  dictionary.setValueForKey(PlistNumber::create(static_cast<std::int64_t>(value)).get(),
                            PlistString::create(key).get());
}

Ref<PlistArray> listOf(RightSet rights) {
  Ref<PlistMutableArray> list = PlistMutableArray::create();
  for (const Right right : allRights) {
    if (rights.contains(right)) list->append(PlistString::create(nameOf(right)).get());
  }
  return list;
}

Ref<PlistArray> listOf(const std::vector<ProfileFinding>& findings) {
  Ref<PlistMutableArray> list = PlistMutableArray::create();
  for (const ProfileFinding& finding : findings) {
    const Ref<PlistMutableDictionary> entry = PlistMutableDictionary::create();
    setText(*entry, "severity", nameOf(finding.severity));
    setNumber(*entry, "line", finding.position.line);
    setNumber(*entry, "column", finding.position.column);
    setText(*entry, "problem", finding.problem);
    setText(*entry, "remedy", finding.remedy);
    list->append(entry.get());
  }
  return list;
}

Ref<PlistArray> listOf(const std::vector<KernelOutlook>& outlooks) {
  Ref<PlistMutableArray> list = PlistMutableArray::create();
  for (const KernelOutlook& outlook : outlooks) {
    const Ref<PlistMutableDictionary> entry = PlistMutableDictionary::create();
    setText(*entry, "linux", versionOf(outlook));
    entry->setValueForKey(PlistBoolean::of(outlook.isEntered), PlistString::create("entered").get());
    entry->setValueForKey(listOf(outlook.open).get(), PlistString::create("open").get());
    entry->setValueForKey(listOf(outlook.withheld).get(), PlistString::create("refused").get());
    entry->setValueForKey(listOf(outlook.unmet).get(), PlistString::create("unmet").get());
    list->append(entry.get());
  }
  return list;
}

void printJson(Console& console, const std::vector<ProfileFinding>& findings,
               const std::vector<KernelOutlook>& outlooks) {
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  dictionary->setValueForKey(listOf(findings).get(), PlistString::create("findings").get());
  dictionary->setValueForKey(listOf(outlooks).get(), PlistString::create("kernels").get());
  std::string problem;
  console.print(writeDocument(*dictionary, DocumentForm::Json, problem).value_or(""));
}

ExitStatus statusOf(const std::vector<ProfileFinding>& findings) noexcept {
  for (const ProfileFinding& finding : findings) {
    if (finding.severity != Severity::Note) return ExitStatus::Found;
  }
  return ExitStatus::Fine;
}

}  // namespace

ExitStatus ProfileCheckCommand::run(Console& console) const {
  std::string problem;
  const std::optional<ProfileValues> values = ProfileValues::of(choice, problem);
  const std::optional<ProfileDocument> document = values ? ProfileDocument::read(file, *values, problem) : std::nullopt;
  if (!document) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  const std::vector<ProfileFinding> findings = reviewOf(*document, *values);
  std::vector<KernelOutlook> outlooks;
  if (document->result.policy) outlooks = outlooksOf(*document->result.policy);
  if (isJson) {
    printJson(console, findings, outlooks);
  } else {
    for (const ProfileFinding& finding : findings) print(console, finding.inFile(document->name));
    if (!outlooks.empty()) printOutlooks(console, outlooks);
  }
  return statusOf(findings);
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/Finding.h"

namespace vanto::tool {
namespace {

Style styleOf(Severity severity) noexcept {
  return severity == Severity::Error ? Style::Error : severity == Severity::Warning ? Style::Warning : Style::Dim;
}

}  // namespace

const char* nameOf(Severity severity) noexcept {
  switch (severity) {
    case Severity::Note:
      return "note";
    case Severity::Warning:
      return "warning";
    case Severity::Error:
      break;
  }
  return "error";
}

std::string Finding::line(const std::string& severityText) const {
  const std::string place = key.empty() ? file : file + ": " + key;
  return place + ": " + severityText + ": " + problem + "; " + remedy;
}

void print(Console& console, const Finding& finding) {
  console.printLine(finding.line(console.styled(styleOf(finding.severity), nameOf(finding.severity))));
}

}  // namespace vanto::tool

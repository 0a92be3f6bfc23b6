// SPDX-License-Identifier: Apache-2.0
#include "vanto/LintedBundle.h"

#include <utility>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceConstants.h>

#include "vanto/InfoFile.h"
#include "vanto/ServicePath.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

Finding whyUnusable(const std::string& path) {
  const InfoFile info = InfoFile::of(path);
  Finding finding{Severity::Error, visible(path), "", "", ""};
  if (!PlistString::create(path)) {
    finding.problem = "the path is not UTF-8";
    finding.remedy = "rename it: no service bundle is found there";
  } else if (ServicePath::extension(path) != "vanto") {
    finding.problem = "the name does not end in .vanto";
    finding.remedy = "rename it, in lower case: under this name it is no service bundle";
  } else if (!info.exists) {
    finding.problem = "there is no Info.plist";
    finding.remedy = "add " + visible(info.path);
  } else if (!info.dictionary) {
    finding.file = visible(info.path) + info.place;
    finding.problem = info.problem;
    finding.remedy = "mend the file: until then there is no bundle";
  } else {
    finding.file = visible(info.path);
    finding.key = "VantoService";
    finding.problem = "is missing";
    finding.remedy = "add a dictionary, which may be empty: without it the bundle is no service";
  }
  return finding;
}

}  // namespace

LintedBundle::LintedBundle(VantoServiceBundle& service, std::string infoPath, Findings& findings) noexcept
    : service_(service), infoPath_(std::move(infoPath)), findings_(findings) {}

PlistDictionary* LintedBundle::serviceDictionary() const {
  return as<PlistDictionary>(service_.serviceDictionary());
}

void LintedBundle::add(Severity severity, const KeyPath& key, std::string problem, std::string remedy) {
  findings_.push_back({severity, infoPath_, key.text(), std::move(problem), std::move(remedy)});
}

void LintedBundle::add(Finding finding) {
  findings_.push_back(std::move(finding));
}

KeyPath LintedBundle::serviceKey(std::string_view key) {
  return KeyPath().key(VantoServiceBundleInfoDictionaryKey->text()).key(key);
}

Findings lintBundle(const std::string& path, KnownIdentifiers& known) {
  const TemporaryScope scope;
  const Ref<PlistString> text = PlistString::create(path);
  VantoServiceBundle* service = text ? VantoServiceBundle::VantoServiceBundleAtPath(text.get()) : nullptr;
  if (service == nullptr) return {whyUnusable(path)};
  Findings findings;
  LintedBundle linted(*service, visible(InfoFile::of(path).path), findings);
  lintIdentifier(linted, known);
  lintExecutable(linted);
  lintInfoKeys(linted);
  lintServiceKeys(linted);
  lintAllowedClients(linted);
  lintSandbox(linted);
  return findings;
}

}  // namespace vanto::tool

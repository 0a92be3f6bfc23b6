// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <string>

#include <sys/stat.h>

#include "vanto/HomeDirectory.h"
#include "vanto/LintedBundle.h"
#include "vanto/ProfileReview.h"
#include "vanto/ValueKind.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr const char* key = "_SandboxProfile";
constexpr const char* effect = ", so the service runs unconfined";

/// Why no file can have the name of the profile; empty when one can.
std::string nameProblem(std::string_view name) {
  if (name.empty()) return "is empty";
  if (name.find('/') != name.npos) return "\"" + visible(name) + "\" has a slash, and resources have none";
  if (name.find('\0') != name.npos) return "contains NUL, which no file name does";
  if (name == "." || name == "..") return "\"" + std::string(name) + "\" is never looked for";
  if (name.size() + 3 > NAME_MAX) return "is too long for a file name";
  return {};
}

/// The profile has a name that can be found, but was not.
void lintMissing(LintedBundle& linted, const KeyPath& where, const std::string& name) {
  const std::string path = std::string(linted.bundle().resourcePath()->text()) + "/" + name;
  struct stat status {};
  if (name.ends_with(".sb") && stat(path.c_str(), &status) == 0) {
    linted.add(Severity::Error, where, "\"" + visible(name) + "\" has the extension, which is added" + effect,
               "write " + visible(name.substr(0, name.size() - 3)));
  } else if (stat((path + ".sb").c_str(), &status) == 0) {
    linted.add(Severity::Error, where, visible(path) + ".sb is no regular file" + effect, "put the profile there");
  } else {
    linted.add(Severity::Error, where, "there is no file " + visible(path) + ".sb" + effect,
               "add the profile, or correct the name");
  }
}

/// What is wrong inside the profile at `path`.
void lintProfile(LintedBundle& linted, const KeyPath& where, const std::string& path) {
  std::string problem;
  const ProfileValues values = ProfileValues::ofServiceOrNone(linted.service());
  const auto document = ProfileDocument::read(path, values, problem);
  if (!document)
    return linted.add(Severity::Error, where, problem + effect,
                      "make it a regular file that can be read, of at most 1 MiB");
  for (ProfileFinding& finding : reviewOf(*document, values)) {
    if (finding.severity == Severity::Error) finding.problem += effect;
    linted.add(finding.inFile(document->name));
  }
}

}  // namespace

void lintSandbox(LintedBundle& linted) {
  PlistDictionary* dictionary = linted.serviceDictionary();
  Object* value = dictionary == nullptr ? nullptr : dictionary->valueForKey(key);
  if (value == nullptr) return;
  const KeyPath where = LintedBundle::serviceKey(key);
  auto* name = as<PlistString>(value);
  if (name == nullptr) {
    linted.add(Severity::Error, where, std::string("is ") + kindOf(value) + effect,
               "write the name of the profile, without .sb");
  } else if (const std::string problem = nameProblem(name->text()); !problem.empty()) {
    linted.add(Severity::Error, where, problem + effect, "write the name of a file in the resources, without .sb");
  } else if (const KorURL* file = linted.bundle().urlForResource(name->text(), "sb")) {
    lintProfile(linted, where, std::string(file->path()->text()));
  } else {
    lintMissing(linted, where, std::string(name->text()));
  }
  if (std::string problem; !homeDirectory(problem)) {
    linted.add(Severity::Warning, where, problem + effect, "run the service as a user who has one");
  }
}

}  // namespace vanto::tool

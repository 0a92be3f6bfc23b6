// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <string>
#include <vector>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vanto/LintedBundle.h"
#include "vanto/ValueKind.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr const char* key = "_SandboxProfile";
constexpr const char* effect = ", so the service runs unconfined";

/// What is wrong with the home directory of the user that runs this; empty when there is one.
std::string homeProblem() {
  std::vector<char> buffer(std::size_t{64} << 10);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
      *entry.pw_dir == '\0') {
    return "user " + std::to_string(geteuid()) + " has no home directory";
  }
  struct stat status {};
  return stat(entry.pw_dir, &status) == 0 ? "" : "the home directory " + visible(entry.pw_dir) + " does not exist";
}

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
  } else if (linted.bundle().urlForResource(name->text(), "sb") == nullptr) {
    lintMissing(linted, where, std::string(name->text()));
  }
  if (const std::string problem = homeProblem(); !problem.empty()) {
    linted.add(Severity::Warning, where, problem + effect, "run the service as a user who has one");
  }
}

}  // namespace vanto::tool

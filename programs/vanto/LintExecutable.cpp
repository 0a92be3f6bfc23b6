// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <sys/stat.h>

#include "vanto/InfoFile.h"
#include "vanto/LintedBundle.h"
#include "vanto/ValueKind.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr const char* key = "KorBundleExecutable";

bool isSingleComponent(std::string_view name) noexcept {
  return name != "." && name != ".." && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

/// Where the executable should lie, for messages: the layout follows from where the Info file is.
std::string expectedPath(const LintedBundle& linted, std::string_view name) {
  const std::string bundle(linted.bundle().bundlePath()->text());
  const bool isContents = InfoFile::of(bundle).path == bundle + "/Contents/Info.plist";
  return bundle + (isContents ? "/Contents/Linux/" : "/") + std::string(name);
}

void lintFile(LintedBundle& linted, const KeyPath& where, const std::string& path) {
  struct stat status {};
  const std::string name = visible(path);
  if (stat(path.c_str(), &status) != 0) {
    linted.add(Severity::Error, where, "there is no file " + name, "add it, or correct the name");
  } else if (!S_ISREG(status.st_mode)) {
    linted.add(Severity::Error, where, name + " is no regular file", "put the program there");
  } else {
    linted.add(Severity::Error, where, name + " leads out of the bundle",
               "put the program itself there: what lies outside is not the service's executable");
  }
}

}  // namespace

void lintExecutable(LintedBundle& linted) {
  const KeyPath where = KeyPath().key(key);
  Object* value = linted.info().valueForKey(key);
  auto* name = as<PlistString>(value);
  if (value == nullptr) {
    linted.add(Severity::Error, where, "is missing",
               "add the file name of the service's program: nothing can be started");
  } else if (name == nullptr) {
    linted.add(Severity::Error, where, std::string("is ") + kindOf(value), "write a string: this counts as missing");
  } else if (name->length() == 0) {
    linted.add(Severity::Error, where, "is empty", "write the file name of the service's program");
  } else if (!isSingleComponent(name->text())) {
    linted.add(Severity::Error, where, '"' + visible(name->text()) + "\" is no file name",
               "write the name alone, without a path: this counts as missing");
  } else if (PlistString* path = linted.service().executablePath()) {
    struct stat status {};
    const bool isExecutable = stat(path->utf8(), &status) == 0 && (status.st_mode & 0111) != 0;
    if (isExecutable) return;
    linted.add(Severity::Error, where, visible(path->text()) + " may not be executed", "chmod +x it");
  } else {
    lintFile(linted, where, expectedPath(linted, name->text()));
  }
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vexd/CodeFinder.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include <fcntl.h>

#include "code/CodeSurroundings.h"
#include "code/OpenedFile.h"

namespace vanto::vexd {
namespace {

Fd openDirectory(const std::string& path) noexcept {
  return Fd(open(path.empty() ? "/" : path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// Opens a file; for one that stands there and cannot be opened there is a problem.
Fd openFile(const Fd& directory, const std::string& path, std::string& problem) {
  Fd file = code::openBeneath(directory.get(), path, O_RDONLY);
  if (!file && errno != ENOENT) problem = std::string("cannot be opened: ") + std::strerror(errno);
  return file;
}

/// Opens what there is of a bundle in whose place for executables the executable lies.
void openBundle(const code::CodeSurroundings& around, CodeFiles& files) {
  const Fd directory = openDirectory(around.bundle);
  if (!directory) return;
  const auto plan = code::BundlePlan::find(
      around.bundle, [&directory](const std::string& info) { return code::isSomethingAt(directory.get(), info); });
  if (!plan || plan->executables != around.executables) return;
  files.info = openFile(directory, plan->info, files.infoProblem);
  files.bundleSignature = openFile(directory, plan->signature, files.bundleSignatureProblem);
}

bool look(const std::string& path, FileIdentity& identity) noexcept {
  return FileIdentity::at(path.c_str(), FileIdentity::Links::Themselves, identity);
}

/// As openBundle().
bool lookAtBundle(const code::CodeSurroundings& around, FactsKey& key) {
  FileIdentity info;
  bool isKnown = true;
  const auto plan = code::BundlePlan::find(around.bundle, [&](const std::string& place) {
    isKnown = isKnown && look(around.bundle + "/" + place, info);
    return isKnown && info.isOfFile();
  });
  if (!isKnown) return false;
  if (!plan || plan->executables != around.executables) return true;
  key.info = info;
  return look(around.bundle + "/" + plan->signature, key.bundleSignature);
}

}  // namespace

CodeFiles findCode(ExaminedProcess process) {
  CodeFiles files;
  files.executable = std::move(process.executable);
  const std::optional<code::CodeSurroundings> around = code::CodeSurroundings::of(process.path);
  if (!around) return files;
  files.name = around->name;
  openBundle(*around, files);
  files.signature =
      openFile(openDirectory(around->directory), code::signatureNameOf(files.name), files.signatureProblem);
  return files;
}

bool lookAroundCode(const std::string& path, FactsKey& key) {
  const std::optional<code::CodeSurroundings> around = code::CodeSurroundings::of(path);
  if (!around) return false;
  key.name = around->name;
  return lookAtBundle(*around, key) && look(code::signatureNameOf(path), key.signature);
}

}  // namespace vanto::vexd

// SPDX-License-Identifier: Apache-2.0
#include "vexd/CodeFinder.h"

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>

#include "code/OpenedFile.h"
#include "value/BundleLayout.h"

namespace vanto::vexd {
namespace {

constexpr std::string_view signatureFile = "Signature.plist";

std::string_view withoutSlash(std::string_view place) noexcept {
  return place.substr(place.starts_with('/') ? 1 : 0);
}

std::string_view extensionOf(std::string_view directory) noexcept {
  directory.remove_prefix(directory.rfind('/') + 1);
  const std::size_t dot = directory.rfind('.');
  return dot == directory.npos ? std::string_view() : directory.substr(dot + 1);
}

/// What the path of an executable says.
struct Surroundings {
  std::string directory;
  std::string name;
  /// The bundle that it may be in, and where in it the executable lies.
  std::string bundle;
  std::string_view executables;
};

/// None without a path.
std::optional<Surroundings> surroundingsOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return std::nullopt;
  Surroundings found{path.substr(0, slash), path.substr(slash + 1), path.substr(0, slash), ""};
  const std::string_view inContents = placesOf(BundleLayout::Contents).executables;
  if (!found.directory.ends_with(inContents)) return found;
  found.bundle.resize(found.directory.size() - inContents.size());
  found.executables = inContents;
  return found;
}

std::string signatureBesideInfo(std::string_view info) {
  return std::string(info.substr(0, info.rfind('/') + 1)) + std::string(signatureFile);
}

Fd openDirectory(const std::string& path) noexcept {
  return Fd(open(path.empty() ? "/" : path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

Fd openFile(const Fd& directory, const std::string& path) noexcept {
  return code::openBeneath(directory.get(), path, O_RDONLY);
}

/// The first layout that has an Info file is that of a bundle; the executable must lie where that layout has it.
void openBundle(const Surroundings& around, CodeFiles& files) {
  const std::string_view extension = extensionOf(around.bundle);
  if (extension.empty()) return;
  const Fd directory = openDirectory(around.bundle);
  if (!directory) return;
  for (const BundlePlaces& places : bundlePlaces) {
    if (!isLayoutFor(places.layout, extension)) continue;
    const std::string info(withoutSlash(places.info));
    Fd opened = openFile(directory, info);
    if (!opened && (errno == ENOENT || errno == ENOTDIR)) continue;
    if (!opened || places.executables != around.executables) return;
    files.info = std::move(opened);
    files.bundleSignature = openFile(directory, signatureBesideInfo(info));
    return;
  }
}

bool look(const std::string& path, FileIdentity& identity) noexcept {
  return FileIdentity::at(path.c_str(), FileIdentity::Links::Themselves, identity);
}

/// As openBundle().
bool lookAtBundle(const Surroundings& around, FactsKey& key) {
  const std::string_view extension = extensionOf(around.bundle);
  if (extension.empty()) return true;
  for (const BundlePlaces& places : bundlePlaces) {
    if (!isLayoutFor(places.layout, extension)) continue;
    FileIdentity info;
    const std::string path = around.bundle + std::string(places.info);
    if (!look(path, info)) return false;
    if (!info.isOfFile()) continue;
    if (places.executables != around.executables) return true;
    key.info = info;
    return look(signatureBesideInfo(path), key.bundleSignature);
  }
  return true;
}

}  // namespace

CodeFiles findCode(ExaminedProcess process) {
  CodeFiles files;
  files.executable = std::move(process.executable);
  const std::optional<Surroundings> around = surroundingsOf(process.path);
  if (!around) return files;
  files.name = around->name;
  openBundle(*around, files);
  files.signature = openFile(openDirectory(around->directory), files.name + "." + std::string(signatureFile));
  return files;
}

bool lookAroundCode(const std::string& path, FactsKey& key) {
  const std::optional<Surroundings> around = surroundingsOf(path);
  if (!around) return false;
  key.name = around->name;
  return lookAtBundle(*around, key) && look(path + "." + std::string(signatureFile), key.signature);
}

}  // namespace vanto::vexd

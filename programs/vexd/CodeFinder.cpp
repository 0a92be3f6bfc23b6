// SPDX-License-Identifier: Apache-2.0
#include "vexd/CodeFinder.h"

#include <cerrno>
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

Fd openDirectory(const std::string& path) noexcept {
  return Fd(open(path.empty() ? "/" : path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

Fd openFile(const Fd& directory, const std::string& path) noexcept {
  return code::openBeneath(directory.get(), path, O_RDONLY);
}

/// The first layout that has an Info file is that of a bundle; the executable must lie where that layout has it.
void openBundle(const std::string& path, std::string_view executables, CodeFiles& files) {
  const std::string_view extension = extensionOf(path);
  if (extension.empty()) return;
  const Fd directory = openDirectory(path);
  if (!directory) return;
  for (const BundlePlaces& places : bundlePlaces) {
    if (!isLayoutFor(places.layout, extension)) continue;
    const std::string info(withoutSlash(places.info));
    Fd opened = openFile(directory, info);
    if (!opened && (errno == ENOENT || errno == ENOTDIR)) continue;
    if (!opened || places.executables != executables) return;
    files.info = std::move(opened);
    files.bundleSignature = openFile(directory, info.substr(0, info.rfind('/') + 1) + std::string(signatureFile));
    return;
  }
}

}  // namespace

CodeFiles findCode(ExaminedProcess process) {
  CodeFiles files;
  files.executable = std::move(process.executable);
  const std::size_t slash = process.path.rfind('/');
  if (slash == std::string::npos) return files;
  files.name = process.path.substr(slash + 1);
  const std::string directory = process.path.substr(0, slash);
  const std::string_view inContents = placesOf(BundleLayout::Contents).executables;
  if (directory.ends_with(inContents)) {
    openBundle(directory.substr(0, directory.size() - inContents.size()), inContents, files);
  } else {
    openBundle(directory, "", files);
  }
  files.signature = openFile(openDirectory(directory), files.name + "." + std::string(signatureFile));
  return files;
}

}  // namespace vanto::vexd

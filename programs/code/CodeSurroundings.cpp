// SPDX-License-Identifier: Apache-2.0
#include "code/CodeSurroundings.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace vanto::code {
namespace {

constexpr std::string_view signatureFile = "Signature.plist";

std::string_view extensionOf(std::string_view directory) noexcept {
  while (directory.ends_with('/')) directory.remove_suffix(1);
  directory.remove_prefix(directory.rfind('/') + 1);
  const std::size_t dot = directory.rfind('.');
  return dot == directory.npos ? std::string_view() : directory.substr(dot + 1);
}

BundlePlan planOf(const BundlePlaces& places) {
  const std::string info(places.info.substr(1));
  return {places.layout, info, info.substr(0, info.rfind('/') + 1) + std::string(signatureFile), places.executables};
}

}  // namespace

std::optional<BundlePlan> BundlePlan::find(std::string_view path,
                                           const std::function<bool(const std::string&)>& isThere) {
  const std::string_view extension = extensionOf(path);
  if (extension.empty()) return std::nullopt;
  for (const BundlePlaces& places : bundlePlaces) {
    if (!isLayoutFor(places.layout, extension)) continue;
    BundlePlan plan = planOf(places);
    if (isThere(plan.info)) return plan;
  }
  return std::nullopt;
}

std::optional<CodeSurroundings> CodeSurroundings::of(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos) return std::nullopt;
  CodeSurroundings found{std::string(path.substr(0, slash)), std::string(path.substr(slash + 1)), {}, {}};
  const std::string_view inContents = placesOf(BundleLayout::Contents).executables;
  if (found.directory.ends_with(inContents)) found.executables = inContents;
  found.bundle = found.directory.substr(0, found.directory.size() - found.executables.size());
  return found;
}

std::string signatureNameOf(std::string_view file) {
  return std::string(file) + "." + std::string(signatureFile);
}

bool isSomethingAt(int directory, const std::string& path) noexcept {
  struct stat status;
  return fstatat(directory, path.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

}  // namespace vanto::code

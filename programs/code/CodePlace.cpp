// SPDX-License-Identifier: Apache-2.0
#include "code/CodePlace.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <VantoService/PlistDictionary.h>
#include <VantoService/PropertyList.h>

#include "code/OpenedFile.h"
#include "code/Seal.h"
#include "code/limits.h"

namespace vanto::code {
namespace {

constexpr std::string_view executablesOfContents = "/Contents/Linux";

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

std::string_view textUnder(const PlistDictionary& dictionary, std::string_view key) {
  const auto* const string = as<PlistString>(dictionary.valueForKey(key));
  return string != nullptr ? string->text() : std::string_view();
}

std::string_view extensionOf(std::string_view path) noexcept {
  while (path.ends_with('/')) path.remove_suffix(1);
  path.remove_prefix(path.rfind('/') + 1);
  const std::size_t dot = path.rfind('.');
  return dot == path.npos ? std::string_view() : path.substr(dot + 1);
}

std::string withoutSlash(std::string_view place) {
  return std::string(place.substr(place.starts_with('/') ? 1 : 0));
}

/// "a" in the place "/b" is "b/a".
std::string joined(std::string_view place, std::string_view name) {
  return withoutSlash(std::string(place) + "/" + std::string(name));
}

bool exists(int directory, const char* path) noexcept {
  struct stat status;
  return fstatat(directory, path, &status, AT_SYMLINK_NOFOLLOW) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

/// Takes what is needed from the Info file. False with a reason that is without a name.
bool readInfo(CodePlace& place, std::string& problem) {
  const Fd file = openBeneath(place.directory.get(), place.info, O_RDONLY);
  if (!file) {
    problem = errno == ELOOP || errno == ENOTDIR ? "is or lies behind a symbolic link, which is not signed"
                                                 : std::string("cannot be opened: ") + std::strerror(errno);
    return false;
  }
  OpenedFile info = OpenedFile::read(file.get(), {limits::infoBytes, 0, {}});
  problem = info.problem;
  if (!info.contents) return false;
  place.infoBytes = std::move(*info.contents);
  const std::optional<InfoNames> names = InfoNames::read(place.infoBytes);
  problem = "is no property list with a dictionary";
  if (!names) return false;
  place.identifier = names->identifier;
  if (!names->executable.empty()) place.executable = joined(placesOf(*place.layout).executables, names->executable);
  return true;
}

std::string signatureIn(BundleLayout layout) {
  const std::string_view info = placesOf(layout).info;
  return joined(info.substr(0, info.rfind('/')), "Signature.plist");
}

/// The directory in which a bundle would be whose executable has that path, and what the layouts call the rest.
struct Around {
  std::string bundle;
  std::string executable;
};

Around aroundOf(std::string_view real) {
  const std::size_t slash = real.rfind('/');
  std::string_view directory = real.substr(0, slash);
  if (directory.ends_with(executablesOfContents)) directory.remove_suffix(executablesOfContents.size());
  return {std::string(directory), std::string(real.substr(std::min(real.size(), directory.size() + 1)))};
}

}  // namespace

std::optional<InfoNames> InfoNames::read(std::string_view bytes) {
  const Ref<PlistValue> value = createPropertyList({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  const auto* const dictionary = as<PlistDictionary>(value.get());
  if (dictionary == nullptr) return std::nullopt;
  const std::string_view name = textUnder(*dictionary, "KorBundleExecutable");
  const bool isName = isResourcePath(name) && name.find('/') == name.npos;
  return InfoNames{std::string(textUnder(*dictionary, "KorBundleIdentifier")), std::string(isName ? name : "")};
}

std::string CodePlace::executableName() const {
  return executable.substr(executable.rfind('/') + 1);
}

std::string CodePlace::pathOf(const std::string& relative) const {
  return path.ends_with('/') ? path + relative : path + "/" + relative;
}

bool CodePlace::hasSignature() const noexcept {
  return exists(directory.get(), signature.c_str());
}

std::optional<CodePlace> CodePlace::ofBundle(const std::string& path, std::string& problem) {
  CodePlace place;
  place.path = path;
  while (place.path.size() > 1 && place.path.ends_with('/')) place.path.pop_back();
  place.directory.reset(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!place.directory) {
    problem = path + ": cannot be opened: " + std::strerror(errno);
    return std::nullopt;
  }
  for (const BundlePlaces& places : bundlePlaces) {
    place.info = withoutSlash(places.info);
    const bool isHere =
        isLayoutFor(places.layout, extensionOf(path)) && exists(place.directory.get(), place.info.c_str());
    if (!isHere) continue;
    place.layout = places.layout;
    place.signature = signatureIn(places.layout);
    if (readInfo(place, problem)) return place;
    problem = place.pathOf(place.info) + ": " + problem;
    return std::nullopt;
  }
  problem = path + ": is a directory without an Info.plist, and so no bundle";
  return std::nullopt;
}

std::optional<CodePlace> CodePlace::ofFile(const std::string& path, std::string& problem) {
  const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
  if (!resolved) {
    problem = path + ": " + std::strerror(errno);
    return std::nullopt;
  }
  const std::string_view real(resolved.get());
  const std::size_t slash = real.rfind('/');
  CodePlace place;
  place.path = slash == 0 ? "/" : real.substr(0, slash);
  place.executable = real.substr(slash + 1);
  place.signature = place.executable + ".Signature.plist";
  place.directory.reset(open(place.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (place.directory) return place;
  problem = place.path + ": cannot be opened: " + std::strerror(errno);
  return std::nullopt;
}

std::optional<CodePlace> CodePlace::ofBundleAround(const std::string& path) {
  const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
  if (!resolved) return std::nullopt;
  const Around around = aroundOf(resolved.get());
  std::string ignored;
  if (extensionOf(around.bundle).empty()) return std::nullopt;
  std::optional<CodePlace> place = ofBundle(around.bundle, ignored);
  if (!place || place->executable != around.executable) return std::nullopt;
  return place;
}

std::optional<CodePlace> CodePlace::ofPath(const std::string& path, std::string& problem) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return ofBundle(path, problem);
  std::optional<CodePlace> bundle = ofBundleAround(path);
  return bundle && bundle->hasSignature() ? std::move(bundle) : ofFile(path, problem);
}

}  // namespace vanto::code

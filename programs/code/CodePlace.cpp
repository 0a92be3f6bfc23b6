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

#include "code/CodeSurroundings.h"
#include "code/OpenedFile.h"
#include "code/Seal.h"
#include "code/limits.h"

namespace vanto::code {
namespace {

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

std::string_view textUnder(const PlistDictionary& dictionary, std::string_view key) {
  const auto* const string = as<PlistString>(dictionary.valueForKey(key));
  return string != nullptr ? string->text() : std::string_view();
}

std::string withoutSlash(std::string_view place) {
  return std::string(place.substr(place.starts_with('/') ? 1 : 0));
}

/// "a" in the place "/b" is "b/a".
std::string joined(std::string_view place, std::string_view name) {
  return withoutSlash(std::string(place) + "/" + std::string(name));
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

/// The bundle whose executable the file at `path` is. None when there is no such bundle; with a reason when there is
/// one with a signature, and it cannot be told whether the file is its executable.
std::optional<CodePlace> findBundleAround(const std::string& path, std::string& problem) {
  const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
  const std::optional<CodeSurroundings> around =
      resolved ? CodeSurroundings::of(resolved.get()) : std::optional<CodeSurroundings>();
  if (!around) return std::nullopt;
  const Fd directory(open(around->bundle.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const std::optional<BundlePlan> plan = BundlePlan::find(around->bundle, [&directory](const std::string& info) {
    return directory && isSomethingAt(directory.get(), info);
  });
  if (!plan || plan->executables != around->executables) return std::nullopt;
  std::string complaint;
  std::optional<CodePlace> place = CodePlace::ofBundle(around->bundle, complaint);
  if (!place && isSomethingAt(directory.get(), plan->signature)) problem = std::move(complaint);
  if (!place || place->executable != joined(around->executables, around->name)) return std::nullopt;
  return place;
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
  return isSomethingAt(directory.get(), signature);
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
  const std::optional<BundlePlan> plan =
      BundlePlan::find(path, [&place](const std::string& name) { return isSomethingAt(place.directory.get(), name); });
  if (!plan) {
    problem = path + ": is a directory without an Info.plist, and so no bundle";
    return std::nullopt;
  }
  place.layout = plan->layout;
  place.info = plan->info;
  place.signature = plan->signature;
  if (readInfo(place, problem)) return place;
  problem = place.pathOf(place.info) + ": " + problem;
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
  place.signature = signatureNameOf(place.executable);
  place.directory.reset(open(place.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (place.directory) return place;
  problem = place.path + ": cannot be opened: " + std::strerror(errno);
  return std::nullopt;
}

std::optional<CodePlace> CodePlace::ofBundleAround(const std::string& path) {
  std::string ignored;
  return findBundleAround(path, ignored);
}

std::optional<CodePlace> CodePlace::ofPath(const std::string& path, std::string& problem) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return ofBundle(path, problem);
  std::string unknown;
  std::optional<CodePlace> bundle = findBundleAround(path, unknown);
  if (bundle && bundle->hasSignature()) return bundle;
  if (unknown.empty()) return ofFile(path, problem);
  problem = std::move(unknown);
  return std::nullopt;
}

}  // namespace vanto::code

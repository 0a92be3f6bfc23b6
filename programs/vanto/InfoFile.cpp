// SPDX-License-Identifier: Apache-2.0
#include "vanto/InfoFile.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include <sys/stat.h>

#include <VantoService/PropertyList.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/InputFile.h"
#include "vanto/ServicePath.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// In the order in which layouts are tried.
std::vector<std::string> placesIn(const std::string& bundle) {
  std::vector<std::string> places{bundle + "/Contents/Info.plist"};
  if (ServicePath::extension(bundle) == "framework") places.push_back(bundle + "/Resources/Info.plist");
  places.push_back(bundle + "/Info.plist");
  return places;
}

void read(InfoFile& info) {
  struct stat status {};
  if (stat(info.path.c_str(), &status) != 0) {
    info.problem = std::string("cannot be looked at: ") + std::strerror(errno);
    return;
  }
  if (!S_ISREG(status.st_mode)) {
    info.problem = "is no regular file";
    return;
  }
  std::string problem;
  const std::optional<std::string> bytes = readInput(info.path, problem, InputKind::RegularFile);
  if (!bytes) {
    info.problem = problem.substr(visible(info.path).size() + 2);
    return;
  }
  PropertyListError error;
  const Ref<PlistValue> value =
      createPropertyList({reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()}, &error);
  info.dictionary = Ref<PlistDictionary>::share(as<PlistDictionary>(value.get()));
  if (info.dictionary) return;
  info.problem = value ? "is no dictionary" : visible(error.message);
  if (!value) info.place = ":" + std::to_string(error.line) + ":" + std::to_string(error.column);
}

}  // namespace

InfoFile InfoFile::of(const std::string& bundle) {
  const std::vector<std::string> places = placesIn(bundle);
  InfoFile info;
  info.path = places.front();
  for (const std::string& place : places) {
    struct stat status {};
    if (stat(place.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)) continue;
    info.path = place;
    info.exists = true;
    read(info);
    return info;
  }
  info.problem = "does not exist";
  return info;
}

std::string InfoFile::complaint() const {
  return visible(path) + place + ": " + problem;
}

std::string whyNoService(const std::string& path) {
  const std::string name = visible(path);
  Ref<PlistString> text = PlistString::create(path);
  if (!text) return name + ": the path is not UTF-8, which bundles need";
  if (VantoServiceBundle::VantoServiceBundleAtPath(text.get()) != nullptr) return {};
  if (ServicePath::extension(path) != "vanto") return name + ": the name of a service bundle ends in .vanto";
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return name + ": " + std::strerror(errno);
  if (!S_ISDIR(status.st_mode)) return name + ": is no directory";
  const InfoFile info = InfoFile::of(path);
  if (!info.dictionary) return info.complaint();
  return visible(info.path) + ": VantoService: is missing; without it the bundle is no service";
}

std::string whyNotTaken(const std::string& path) {
  const std::string reason = whyNoService(path);
  return reason.empty() ? visible(path) + ": changed while it was read; try again" : reason;
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceSearch.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include <VantoService/Bundle.h>
#include <VantoService/TemporaryScope.h>

#include "value/DirectoryStream.h"
#include "vanto/InfoFile.h"
#include "vanto/ServicePath.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// The directory in which the bundle at `path` keeps its services; empty when there is no bundle.
std::string servicesDirectoryOf(const std::string& path) {
  const TemporaryScope scope;
  const Ref<PlistString> text = PlistString::create(path);
  const Bundle* bundle = Bundle::bundleWithPath(text.get());
  if (bundle == nullptr) return {};
  std::string directory(bundle->resourcePath()->deletingLastPathComponent()->text());
  if (directory != "/") directory += '/';
  return directory += "VantoServices";
}

bool isService(std::string_view name) noexcept {
  return ServicePath::extension(name) == "vanto";
}

std::string inside(const std::string& directory, const std::string& name) {
  return (directory == "/" ? directory : directory + "/") + name;
}

}  // namespace

void ServiceSearch::add(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) add(argument);
}

void ServiceSearch::add(const std::string& argument) {
  const std::string path(ServicePath::trimmed(argument));
  if (isService(path)) {
    addPath(path);
  } else if (const std::string services = servicesDirectoryOf(path); !services.empty()) {
    addServicesIn(services);
  } else if (const InfoFile info = InfoFile::of(path); info.exists && !ServicePath::extension(path).empty()) {
    problems_.push_back(info.complaint());
  } else {
    addAllIn(path);
  }
}

void ServiceSearch::addPath(std::string path) {
  if (known_.insert(path).second) paths_.push_back(std::move(path));
}

void ServiceSearch::addServicesIn(const std::string& directory) {
  for (const std::string& name : namesIn(directory, Missing::IsEmpty)) {
    if (isService(name)) addPath(inside(directory, name));
  }
}

void ServiceSearch::addAllIn(const std::string& directory) {
  for (const std::string& name : namesIn(directory, Missing::IsProblem)) {
    const std::string path = inside(directory, name);
    if (isService(name)) {
      addPath(path);
    } else if (!ServicePath::extension(name).empty()) {
      const std::string services = servicesDirectoryOf(path);
      if (!services.empty()) addServicesIn(services);
    }
  }
}

std::vector<std::string> ServiceSearch::namesIn(const std::string& directory, Missing missing) {
  const DirectoryStream stream(opendir(directory.c_str()));
  std::vector<std::string> names;
  if (!stream) {
    const bool isExpected = missing == Missing::IsEmpty && errno == ENOENT;
    if (!isExpected) problems_.push_back(visible(directory) + ": cannot be listed: " + std::strerror(errno));
    return names;
  }
  errno = 0;
  while (const dirent* entry = readdir(stream.get())) names.emplace_back(entry->d_name);
  if (errno != 0) problems_.push_back(visible(directory) + ": cannot be listed to its end: " + std::strerror(errno));
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace vanto::tool

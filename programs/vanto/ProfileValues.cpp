// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileValues.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "vanto/HomeDirectory.h"
#include "vanto/InfoFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr const char* identifierName = "VantoService_identifier";
constexpr const char* pathName = "VantoService_path";
constexpr const char* homeName = "VantoService_home";

/// An identifier is a part of a path, the others are whole ones.
std::string placeholderOf(const std::string& name) {
  return (name == identifierName ? "${" : "/${") + name + "}";
}

std::optional<ProfileValues> valuesOfBundle(const std::string& bundle, std::string& problem) {
  const Ref<PlistString> path = PlistString::create(bundle);
  VantoServiceBundle* service = path ? VantoServiceBundle::VantoServiceBundleAtPath(path.get()) : nullptr;
  if (service != nullptr) return ProfileValues::ofService(*service, problem);
  problem = whyNotTaken(bundle);
  return std::nullopt;
}

/// Adds what "NAME=VALUE" says; a visible problem, or empty.
std::string addParameter(const std::string& text, ProfileParameters& parameters) {
  const std::size_t sign = text.find('=');
  if (sign == std::string::npos || sign == 0) return visible(text) + ": is no parameter; write NAME=VALUE";
  const std::string name = text.substr(0, sign);
  if (name != identifierName && name != pathName && name != homeName) {
    return visible(name) + ": there is no such parameter; write one of " + pathName + ", " + identifierName + ", " +
           homeName;
  }
  parameters.insert_or_assign(name, text.substr(sign + 1));
  return {};
}

}  // namespace

std::optional<ProfileValues> ProfileValues::ofService(VantoServiceBundle& service, std::string& problem) {
  const std::optional<std::string> home = homeDirectory(problem);
  if (!home) return std::nullopt;
  std::error_code error;
  const std::string written(service.bundle()->bundlePath()->text());
  const std::filesystem::path path = std::filesystem::canonical(written, error);
  if (error) {
    problem = visible(written) + ": cannot be found out where it really is: " + error.message();
    return std::nullopt;
  }
  const PlistString* identifier = service.identifier();
  ProfileValues values;
  values.parameters = {{identifierName, std::string(identifier == nullptr ? "" : identifier->text())},
                       {pathName, path.string()},
                       {homeName, *home}};
  return values;
}

std::optional<ProfileValues> ProfileValues::of(const ProfileChoice& choice, std::string& problem) {
  std::optional<ProfileValues> values = ProfileValues();
  if (!choice.bundle.empty()) values = valuesOfBundle(choice.bundle, problem);
  if (!values) return values;
  for (const std::string& text : choice.parameters) {
    problem = addParameter(text, values->parameters);
    if (!problem.empty()) return std::nullopt;
  }
  values->fill();
  return values;
}

ProfileValues ProfileValues::ofServiceOrNone(VantoServiceBundle& service) {
  std::string ignored;
  ProfileValues values = ofService(service, ignored).value_or(ProfileValues());
  values.fill();
  return values;
}

void ProfileValues::fill() {
  for (const char* name : {identifierName, pathName, homeName}) {
    if (parameters.emplace(name, placeholderOf(name)).second) placeholders.emplace(name, placeholderOf(name));
  }
}

bool ProfileValues::isPlaceholderIn(std::string_view path) const {
  return std::ranges::any_of(placeholders,
                             [&](const auto& entry) { return path.find(entry.second) != std::string_view::npos; });
}

std::string_view ProfileValues::identifier() const {
  const auto found = parameters.find(identifierName);
  return found == parameters.end() || placeholders.contains(identifierName) ? std::string_view() : found->second;
}

std::string ProfileValues::placeholdersIn(const Policy& policy, RightSet rights) const {
  std::string names;
  for (const auto& [name, value] : placeholders) {
    const bool isThere = std::ranges::any_of(policy.paths, [&](const PathRule& rule) {
      return rule.rights.without(rights) != rule.rights && rule.path.find(value) != std::string::npos;
    });
    if (isThere) names += (names.empty() ? "" : ", ") + name;
  }
  return names;
}

}  // namespace vanto::tool

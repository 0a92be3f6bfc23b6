// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/GeneratedProfile.h"

#include <algorithm>

namespace vanto::testing {
namespace {

constexpr const char* pathParameter = "VantoService_path";

std::size_t number(std::size_t below, std::mt19937& random) {
  return std::uniform_int_distribution<std::size_t>(0, below - 1)(random);
}

/// True once in `times`.
bool happens(std::size_t times, std::mt19937& random) {
  return number(times, random) == 0;
}

RightSet someRightsToPaths(std::mt19937& random) {
  RightSet rights;
  while (rights.isEmpty()) {
    for (const Right right : allRights) {
      if (isRightToPath(right) && happens(2, random)) rights |= right;
    }
  }
  return rights;
}

}  // namespace

GeneratedProfile::GeneratedProfile(const Material& material, std::mt19937& random)
    : parameters_{{pathParameter, material.servicePath}} {
  if (happens(2, random)) text_ += "include base\n";
  addPaths(material, random);
  addPorts(material, random);
  addOthers(random);
}

void GeneratedProfile::addPaths(const Material& material, std::mt19937& random) {
  for (std::size_t statements = number(6, random); statements > 0; --statements) {
    const RightSet rights = someRightsToPaths(random);
    text_ += "allow " + namesOf(rights, ",");
    for (std::size_t paths = 1 + number(3, random); paths > 0; --paths) {
      const std::string& path = material.paths[number(material.paths.size(), random)];
      text_ += " " + written(path, random);
      paths_.emplace_back(path, rights);
    }
    text_ += "\n";
  }
}

void GeneratedProfile::addPorts(const Material& material, std::mt19937& random) {
  for (const std::uint16_t port : material.ports) {
    for (const Right right : {Right::Bind, Right::Connect}) {
      if (!happens(3, random)) continue;
      text_ += "allow " + std::string(nameOf(right)) + " tcp " + std::to_string(port) + "\n";
      ports_.emplace(right, port);
    }
  }
}

void GeneratedProfile::addOthers(std::mt19937& random) {
  for (const Right right : {Right::Network, Right::Abstract, Right::Signal, Right::Processes}) {
    if (!happens(3, random)) continue;
    text_ += "allow " + std::string(nameOf(right)) + "\n";
    others_.insert(right);
  }
}

/// Now and then with the parameter, and in quotes.
std::string GeneratedProfile::written(const std::string& path, std::mt19937& random) const {
  const std::string& value = parameters_.at(pathParameter);
  const std::string text =
      happens(2, random) ? "${" + std::string(pathParameter) + "}" + path.substr(value.size()) : path;
  return happens(3, random) ? '"' + text + '"' : text;
}

bool GeneratedProfile::gives(Right right, const std::string& path) const {
  return std::ranges::any_of(paths_, [&](const auto& rule) {
    const bool isWithin = path == rule.first || path.starts_with(rule.first + "/");
    return isWithin &&
           (rule.second.contains(right) || (right == Right::Truncate && rule.second.contains(Right::Write)));
  });
}

bool GeneratedProfile::gives(Right right, std::uint16_t port) const {
  return ports_.contains({right, port}) || gives(Right::Network);
}

bool GeneratedProfile::givesToAnyPath(Right right) const {
  return std::ranges::any_of(paths_, [right](const auto& rule) { return rule.second.contains(right); });
}

}  // namespace vanto::testing

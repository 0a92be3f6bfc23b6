// SPDX-License-Identifier: Apache-2.0
#include "vanto/RealPlaces.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include "sandbox/PlaceFinder.h"
#include "vanto/ServicePath.h"

namespace vanto::tool {
namespace {

bool isOfOneProcess(const std::string& path) {
  for (const std::string place : {"/proc/self", "/proc/thread-self"}) {
    if (path == place || path.starts_with(place + "/")) return true;
  }
  return false;
}

}  // namespace

std::string realPath(const std::string& path) {
  std::error_code error;
  const std::string absolute = ServicePath::absolute(path, error);
  if (error || isOfOneProcess(absolute)) return absolute;
  const std::filesystem::path real = std::filesystem::weakly_canonical(absolute, error);
  return error ? absolute : std::string(ServicePath::trimmed(real.string()));
}

RealPolicy realPolicyOf(const Policy& policy) {
  // Which rights the kernel knows makes no difference to links.
  PlaceFinder finder(planOf(policy, kernelRightsOf(landlockGenerations), std::nullopt));
  RealPolicy result{policy, {}};
  std::map<std::string, PathRule> rules;
  for (const PathRule& rule : policy.paths) {
    const std::string path = realPath(rule.path);
    if (const FoundPlace found = finder.find(rule.path); !found.link.empty()) {
      result.refused.push_back({{path, rule.rights, rule.grants}, rule.path, found.reason()});
      continue;
    }
    PathRule& real = rules[path];
    real.path = path;
    real.rights |= rule.rights;
    real.grants.insert(real.grants.end(), rule.grants.begin(), rule.grants.end());
  }
  result.policy.paths.clear();
  for (auto& [path, rule] : rules) {
    std::ranges::stable_sort(rule.grants, {}, [](const Grant& grant) { return grant.line.line; });
    result.policy.paths.push_back(std::move(rule));
  }
  return result;
}

Policy withRealPaths(const Policy& policy) {
  return realPolicyOf(policy).policy;
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "value/BundlePath.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace vanto {
namespace {

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

using Text = std::unique_ptr<char, Free>;

bool hasParentComponent(std::string_view path) noexcept {
  while (!path.empty()) {
    const std::size_t slash = path.find('/');
    if (path.substr(0, slash) == "..") return true;
    if (slash == std::string_view::npos) return false;
    path.remove_prefix(slash + 1);
  }
  return false;
}

/// Service managers take only jobs with plain paths, and to the system several slashes are one.
std::string withSingleSlashes(std::string_view path) {
  std::string result(path);
  const auto areSlashes = [](char one, char other) {
    return one == '/' && other == '/';
  };
  result.erase(std::unique(result.begin(), result.end(), areSlashes), result.end());
  return result;
}

}  // namespace

std::string BundlePath::inside(std::string_view path, std::string_view place) {
  std::string result;
  if (path == "/" && !place.empty()) path = {};
  result.reserve(path.size() + place.size());
  result += path;
  result += place;
  return result;
}

bool BundlePath::isSingleComponent(std::string_view name) noexcept {
  return !name.empty() && name != "." && name != ".." && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

bool BundlePath::isBelow(std::string_view path, std::string_view directory) noexcept {
  if (directory == "/") return true;
  return path.size() > directory.size() && path.starts_with(directory) && path[directory.size()] == '/';
}

std::optional<std::string> BundlePath::absolute(std::string_view path) {
  if (hasParentComponent(path)) return real(std::string(path).c_str());
  const std::string given = withSingleSlashes(path);
  if (given.starts_with('/')) return given;
  const Text directory(getcwd(nullptr, 0));
  if (directory == nullptr) return std::nullopt;
  return inside(directory.get(), "/" + given);
}

std::optional<std::string> BundlePath::real(const char* path) {
  const Text resolved(realpath(path, nullptr));
  if (resolved == nullptr) return std::nullopt;
  return std::string(resolved.get());
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "value/PathText.h"

#include <cstddef>

namespace vanto {

std::string_view PathText::withoutSlashesAtEnd(std::string_view path) noexcept {
  // Nothing but slashes: npos + 1 is 0.
  return path.substr(0, path.find_last_not_of('/') + 1);
}

std::string_view PathText::withoutSlashesAtStart(std::string_view path) noexcept {
  const std::size_t start = path.find_first_not_of('/');
  return start == std::string_view::npos ? std::string_view() : path.substr(start);
}

std::string_view PathText::lastComponent(std::string_view path) noexcept {
  const std::string_view trimmed = withoutSlashesAtEnd(path);
  // No slash at all: npos + 1 is 0.
  return trimmed.substr(trimmed.rfind('/') + 1);
}

std::string_view PathText::parent(std::string_view path) noexcept {
  const std::string_view trimmed = withoutSlashesAtEnd(path);
  const std::string_view rest = trimmed.substr(0, trimmed.rfind('/') + 1);
  const std::string_view parentPath = withoutSlashesAtEnd(rest);
  const bool isBelowRoot = parentPath.empty() && path.starts_with('/');
  return isBelowRoot ? path.substr(0, 1) : parentPath;
}

std::string_view PathText::extension(std::string_view path) noexcept {
  const std::string_view component = lastComponent(path);
  const std::size_t dot = component.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : component.substr(dot + 1);
}

std::string PathText::standardized(std::string_view path) {
  const bool isAbsolute = path.starts_with('/');
  std::string result(isAbsolute ? "/" : "");
  for (std::string_view rest = withoutSlashesAtStart(path); !rest.empty(); rest = withoutSlashesAtStart(rest)) {
    const std::string_view component = rest.substr(0, rest.find('/'));
    rest.remove_prefix(component.size());
    const bool isUp = component == "..";
    if (component == "." || (isUp && result == "/")) continue;
    if (isUp && !result.empty() && lastComponent(result) != "..") {
      result.resize(parent(result).size());
      continue;
    }
    if (!result.empty() && result != "/") result += '/';
    result += component;
  }
  return result.empty() ? "." : result;
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServicePath.h"

#include <filesystem>

namespace vanto::tool {

std::string_view ServicePath::trimmed(std::string_view path) noexcept {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

std::string ServicePath::absolute(std::string_view path, std::error_code& error) {
  std::filesystem::path result;
  // ".." stays: where it leads depends on the symbolic links before it.
  for (const std::filesystem::path& name : std::filesystem::absolute(trimmed(path), error)) {
    if (!name.empty() && name != ".") result /= name;
  }
  return result;
}

std::string_view ServicePath::name(std::string_view path) noexcept {
  path = trimmed(path);
  return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

std::string_view ServicePath::extension(std::string_view path) noexcept {
  const std::string_view last = name(path);
  const std::size_t dot = last.rfind('.');
  return dot == last.npos ? std::string_view() : last.substr(dot + 1);
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "vanto/HomeDirectory.h"

#include <cstddef>
#include <filesystem>
#include <system_error>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "vanto/VisibleText.h"

namespace vanto::tool {

std::optional<std::string> homeDirectory(std::string& problem) {
  std::vector<char> buffer(std::size_t{64} << 10);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
      *entry.pw_dir == '\0') {
    problem = "user " + std::to_string(geteuid()) + " has no home directory";
    return std::nullopt;
  }
  std::error_code error;
  const std::filesystem::path path = std::filesystem::canonical(entry.pw_dir, error);
  if (!error) return path.string();
  problem = "the home directory " + visible(entry.pw_dir) + " does not exist";
  return std::nullopt;
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "support/TemporaryDirectory.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace vanto::test {
namespace {

/// Lets the owner into every directory, so that what they hold can be removed.
void openDirectories(const std::filesystem::path& root) {
  std::error_code ignored;
  std::filesystem::permissions(root, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ignored);
  for (const auto& entry : std::filesystem::directory_iterator(root, ignored)) {
    if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) openDirectories(entry.path());
  }
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  std::error_code error;
  std::string pattern = (std::filesystem::canonical(std::filesystem::temp_directory_path(), error) / "vanto-XXXXXX");
  if (error || mkdtemp(pattern.data()) == nullptr) {
    std::perror("mkdtemp");
    std::abort();
  }
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
  if (!error) return;
  openDirectories(path_);
  std::filesystem::remove_all(path_, error);
  if (error) std::fprintf(stderr, "%s is left behind: %s\n", path_.c_str(), error.message().c_str());
}

std::string TemporaryDirectory::operator/(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

}  // namespace vanto::test

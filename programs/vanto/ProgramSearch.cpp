// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProgramSearch.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace vanto::tool {

std::string programNamed(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  const char* const path = std::getenv("PATH");
  std::string_view rest = path == nullptr ? "/usr/bin:/bin" : path;
  while (!rest.empty()) {
    const std::string_view directory = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(directory.size() + 1, rest.size()));
    std::string file = std::string(directory.empty() ? "." : directory) + "/" + name;
    if (access(file.c_str(), X_OK) == 0) return file;
  }
  return {};
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace vanto::test {

struct SampleFile {
  std::string name;
  std::vector<std::uint8_t> content;
};

/// The files in `directory` whose names begin with `verdict`.
[[nodiscard]] inline std::vector<SampleFile> sampleFiles(const char* directory, std::string_view verdict) {
  std::vector<SampleFile> found;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename();
    if (!name.starts_with(verdict)) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    found.push_back({name, std::vector<std::uint8_t>(std::istreambuf_iterator<char>(file), {})});
  }
  return found;
}

}  // namespace vanto::test

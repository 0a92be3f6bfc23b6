// SPDX-License-Identifier: Apache-2.0
#include "soak/SanitizerReports.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace vanto::soak {

namespace {

constexpr std::array optionVariables = {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"};

}  // namespace

SanitizerReports::SanitizerReports(std::string directory) : directory_(std::move(directory)) {
  for (const char* variable : optionVariables) {
    const char* given = std::getenv(variable);
    const std::string options = given != nullptr && *given != '\0' ? std::string(given) + ":" : "";
    setenv(variable, (options + "log_path=" + directory_ + "/report").c_str(), 1);
  }
}

std::vector<std::string> SanitizerReports::managerArguments() {
  std::vector<std::string> arguments;
  for (const char* variable : optionVariables) arguments.insert(arguments.end(), {"--keep", variable});
  return arguments;
}

std::string SanitizerReports::first() const {
  for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(directory_)) {
    std::ifstream file(entry.path());
    const std::string text(std::istreambuf_iterator<char>(file), {});
    return entry.path().filename().string() + ": " + text;
  }
  return {};
}

}  // namespace vanto::soak

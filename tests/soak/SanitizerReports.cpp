// SPDX-License-Identifier: Apache-2.0
#include "soak/SanitizerReports.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <istream>
#include <string_view>
#include <utility>

namespace vanto::soak {

namespace {

constexpr std::array optionVariables = {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"};

/// Said of a process that is killed while it looks for leaks at its end, as the soak does.
constexpr std::string_view ofTheKilled = "Unable to get registers from thread";

/// A report without such lines.
std::string faultsIn(std::istream& report) {
  std::string faults;
  for (std::string line; std::getline(report, line);) {
    if (!line.empty() && line.find(ofTheKilled) == std::string::npos) faults += line + "\n";
  }
  return faults;
}

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
    const std::string faults = faultsIn(file);
    if (!faults.empty()) return entry.path().filename().string() + ": " + faults;
  }
  return {};
}

}  // namespace vanto::soak

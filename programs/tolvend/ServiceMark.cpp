// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ServiceMark.h"

#include <charconv>
#include <string>

#include <fcntl.h>

#include "process/Contents.h"
#include "value/Fd.h"

namespace vanto::manager {

namespace {

/// A service gets far less.
constexpr std::size_t largestEnvironment = std::size_t{1} << 20;

constexpr std::string_view pidVariable = "LISTEN_PID=";
constexpr std::string_view namesVariable = "LISTEN_FDNAMES=";
/// Nobody else hands a link over.
constexpr std::string_view linkName = ":.manager";

}  // namespace

pid_t parseServiceMark(std::string_view environment) noexcept {
  pid_t pid = 0;
  bool hasLink = false;
  while (!environment.empty()) {
    const std::string_view entry = environment.substr(0, environment.find('\0'));
    environment.remove_prefix(entry.size() == environment.size() ? entry.size() : entry.size() + 1);
    hasLink = hasLink || (entry.starts_with(namesVariable) && entry.ends_with(linkName));
    if (!entry.starts_with(pidVariable)) continue;
    const std::string_view number = entry.substr(pidVariable.size());
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), pid);
    if (error != std::errc() || end != number.data() + number.size()) pid = 0;
  }
  return hasLink && pid > 0 ? pid : 0;
}

pid_t readServiceMark(pid_t pid) {
  const Fd file(open(("/proc/" + std::to_string(pid) + "/environ").c_str(), O_RDONLY | O_CLOEXEC));
  GrowingBytes environment;
  if (!file || readContents(file.get(), largestEnvironment, environment) != 0) return 0;
  return parseServiceMark(environment.text());
}

}  // namespace vanto::manager

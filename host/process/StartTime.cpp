// SPDX-License-Identifier: Apache-2.0
#include "process/StartTime.h"

#include <cerrno>
#include <charconv>
#include <cstddef>

#include <fcntl.h>
#include <unistd.h>

#include "process/ProcessFile.h"
#include "value/Fd.h"

namespace vanto {

namespace {

/// The start time is field 22; the first one behind the name of the program is field 3.
constexpr int fieldsBetween = 22 - 3;

}  // namespace

bool parseProcessStartTime(std::string_view text, std::uint64_t& startTime) noexcept {
  // The name, in parentheses, is the program's own choice and may hold blanks and parentheses; nothing behind it does.
  const std::size_t nameEnd = text.rfind(") ");
  if (nameEnd == std::string_view::npos) return false;
  text.remove_prefix(nameEnd + 2);
  for (int i = 0; i < fieldsBetween; ++i) {
    const std::size_t blank = text.find(' ');
    if (blank == std::string_view::npos) return false;
    text.remove_prefix(blank + 1);
  }
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end == text.data() + text.size() || *end != ' ') return false;
  startTime = value;
  return true;
}

bool readProcessStartTime(pid_t pid, std::uint64_t& startTime) noexcept {
  if (pid <= 0) return false;
  const Fd status(open(ProcessFile(pid, "stat").path(), O_RDONLY | O_CLOEXEC));
  // More than all fields up to the one can take. The kernel gives the text at once; one that is cut would be refused.
  char text[1024];
  ssize_t length = -1;
  while (status && (length = read(status.get(), text, sizeof text)) < 0 && errno == EINTR) {
  }
  return length > 0 && parseProcessStartTime({text, static_cast<std::size_t>(length)}, startTime);
}

}  // namespace vanto

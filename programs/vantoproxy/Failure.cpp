// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Failure.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <string_view>

#include <unistd.h>

#include "vantoproxy/SignalAction.h"
#include "vantoproxy/SystemCall.h"

namespace vanto {

namespace {

constexpr std::size_t longestPath = 4096;

/// One line for standard error, cut where it would be too long.
class Line {
 public:
  void add(std::string_view text) noexcept {
    for (const char character : text) {
      if (size_ == sizeof text_ - 1) return;
      // A path may hold anything, and the reader may be a terminal.
      const bool isControl = static_cast<unsigned char>(character) < ' ' || character == '\x7f';
      text_[size_++] = isControl ? '?' : character;
    }
  }
  void add(int number) noexcept {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    add(std::string_view(digits, static_cast<std::size_t>(end - digits)));
  }
  /// One call, so that lines of several processes do not mix.
  void write(int descriptor) noexcept {
    text_[size_++] = '\n';
    systemCall(SYS_write, descriptor, text_, size_);
  }

 private:
  char text_[longestPath + 512];
  std::size_t size_ = 0;
};

void writeMessage(const Failure& failure, const char* path) noexcept {
  Line line;
  line.add("vantoproxy: ");
  if (path != nullptr) {
    // Cut, so that the reason always fits.
    line.add(std::string_view(path, std::min(std::string_view(path).size(), longestPath)));
    line.add(": ");
  }
  line.add(failure.reason);
  line.add(" (error ");
  line.add(failure.error);
  line.add("); ");
  line.add(failure.remedy);
  line.write(STDERR_FILENO);
}

}  // namespace

int exitStatusOf(const Failure& failure) noexcept {
  switch (failure.stage) {
    case ExecStage::Call:
    case ExecStage::Handover:
      return 2;
    case ExecStage::Descriptors:
    case ExecStage::State:
      return 125;
    case ExecStage::Executable:
      return failure.error == ENOENT || failure.error == ENOTDIR ? 127 : 126;
    case ExecStage::Execution:
      return 126;
  }
  return 125;
}

void report(const Failure& failure, const char* path, int status) noexcept {
  setSignalAction(SIGPIPE, SignalAction::Ignore);
  if (status >= 0) {
    const ExecRecord record{failure.stage, failure.error};
    systemCall(SYS_write, status, &record, sizeof record);
    systemCall(SYS_close, status);
  }
  writeMessage(failure, path);
}

}  // namespace vanto

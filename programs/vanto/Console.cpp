// SPDX-License-Identifier: Apache-2.0
#include "vanto/Console.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

namespace vanto::tool {
namespace {

/// A pipe takes this much at once.
constexpr std::size_t pieceBytes = std::size_t{64} << 10;
constexpr std::size_t usualColumns = 80;
constexpr std::size_t usualLines = 24;

/// 0, or errno.
int writeAll(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

bool isSet(const char* variable) noexcept {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

std::size_t columnsOfTerminal(int descriptor) noexcept {
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  std::size_t columns = 0;
  if (const char* given = std::getenv("COLUMNS"); given != nullptr) {
    std::from_chars(given, given + std::strlen(given), columns);
  }
  return columns > 0 ? columns : usualColumns;
}

std::size_t linesOfTerminal(int descriptor) noexcept {
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : usualLines;
}

const char* codeOf(Style style) noexcept {
  switch (style) {
    case Style::Bold:
      return "\x1b[1m";
    case Style::Dim:
      return "\x1b[2m";
    case Style::Error:
      return "\x1b[1;31m";
    case Style::Warning:
      return "\x1b[33m";
    case Style::Plain:
      break;
  }
  return "";
}

}  // namespace

Display Display::of(int descriptor) {
  if (isatty(descriptor) == 0) return {};
  const char* terminal = std::getenv("TERM");
  const bool isDumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
  return {true, !isDumb && !isSet("NO_COLOR"), columnsOfTerminal(descriptor), linesOfTerminal(descriptor)};
}

Console::Console(int output, int messages, Display outputDisplay, Display messageDisplay) noexcept
    : output_(output), messages_(messages), outputDisplay_(outputDisplay), messageDisplay_(messageDisplay) {}

Console Console::ofProcess() {
  return {STDOUT_FILENO, STDERR_FILENO, Display::of(STDOUT_FILENO), Display::of(STDERR_FILENO)};
}

void Console::print(std::string_view text) {
  pending_ += text;
  if (pending_.size() >= pieceBytes) flush();
}

void Console::printLine(std::string_view text) {
  print(text);
  print("\n");
}

void Console::flush() {
  if (outputError_ == 0) outputError_ = writeAll(output_, pending_);
  pending_.clear();
}

void Console::complain(std::string_view text) {
  std::string line("vanto: ");
  (line += text) += '\n';
  note(line);
}

void Console::note(std::string_view text) {
  flush();
  // Nobody is left to be told of a failure.
  static_cast<void>(writeAll(messages_, text));
}

std::string Console::styled(Style style, std::string_view text) const {
  std::string result;
  const char* code = outputDisplay_.hasColour ? codeOf(style) : "";
  result += code;
  result += text;
  if (*code != '\0') result += "\x1b[0m";
  return result;
}

bool Console::finish() {
  flush();
  if (outputError_ == 0) return true;
  complain(std::string("cannot write the output: ") + std::strerror(outputError_));
  return false;
}

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#include "support/LogCapture.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <utility>

#include <gtest/gtest.h>
#include <syslog.h>

#include <VantoService/Export.h>

namespace vanto::testing {
namespace {

std::atomic<LogCapture*> current = nullptr;

std::string formatted(const char* format, va_list arguments) {
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) std::abort();
  std::string result(text, static_cast<std::size_t>(length));
  std::free(text);
  return result;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const LogLine& line) {
  return stream << line.priority << " " << line.text;
}

LogCapture::LogCapture() : LogCapture(nullptr) {}

LogCapture::LogCapture(std::function<void(const LogLine&)> sink) : sink_(std::move(sink)) {
  EXPECT_EQ(current.exchange(this), nullptr) << "two captures of the log";
}

LogCapture::~LogCapture() {
  current = nullptr;
  EXPECT_EQ(lines_, expected_) << "lines in the log";
}

void LogCapture::expect(int priority, std::string text) {
  const std::lock_guard lock(mutex_);
  expected_.push_back({priority, std::move(text)});
}

void LogCapture::expect(const std::vector<LogLine>& lines) {
  const std::lock_guard lock(mutex_);
  expected_.insert(expected_.end(), lines.begin(), lines.end());
}

std::vector<LogLine> LogCapture::take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(lines_, {});
}

void LogCapture::add(LogLine line) {
  if (sink_) return sink_(line);
  const std::lock_guard lock(mutex_);
  lines_.push_back(std::move(line));
}

void LogCapture::write(int priority, const char* format, va_list arguments) {
  LogLine line{priority, formatted(format, arguments)};
  if (LogCapture* capture = current) return capture->add(std::move(line));
  ADD_FAILURE() << "a line in the log that nobody expects: " << line;
}

}  // namespace vanto::testing

using vanto::testing::LogCapture;

extern "C" {

VANTO_EXPORT void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  LogCapture::write(priority, format, arguments);
  va_end(arguments);
}

VANTO_EXPORT void vsyslog(int priority, const char* format, va_list arguments) {
  LogCapture::write(priority, format, arguments);
}

// What the C library's headers make of the two in a hardened build.
VANTO_EXPORT void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  LogCapture::write(priority, format, arguments);
  va_end(arguments);
}

VANTO_EXPORT void __vsyslog_chk(int priority, int, const char* format, va_list arguments) {
  LogCapture::write(priority, format, arguments);
}
}

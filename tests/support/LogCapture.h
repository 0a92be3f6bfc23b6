// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <string>
#include <vector>

namespace vanto::testing {

/// A line of the system log.
struct LogLine {
  int priority;
  std::string text;

  bool operator==(const LogLine&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const LogLine& line);

/// Takes the place of the system log in a test program: lines that are expected must come, in their order, and any
/// other line fails the test. In a program that uses this class, a line that comes while no object of it is there fails
/// the test too. One object at a time; lines may come from any thread.
class LogCapture {
 public:
  LogCapture();
  /// Hands each line to `sink` as it comes, and expects nothing.
  explicit LogCapture(std::function<void(const LogLine&)> sink);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Expects a further line; to be said before or after it comes.
  void expect(int priority, std::string text);
  void expect(const std::vector<LogLine>& lines);

  /// The lines that came since the last call. They count as expected.
  [[nodiscard]] std::vector<LogLine> take();

  /// What the stand-ins for the C library's functions do with a line.
  static void write(int priority, const char* format, va_list arguments);

 private:
  void add(LogLine line);

  std::mutex mutex_;
  std::vector<LogLine> lines_;
  std::vector<LogLine> expected_;
  const std::function<void(const LogLine&)> sink_;
};

}  // namespace vanto::testing

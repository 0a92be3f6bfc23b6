// SPDX-License-Identifier: Apache-2.0
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <VantoService/Export.h>

// In a program that contains this file, the system log is the file that VANTO_TEST_LOG names: one line a message, its
// priority first. Machines that run tests have no log socket.

namespace {

int openLog() {
  const char* path = std::getenv("VANTO_TEST_LOG");
  if (path == nullptr) return -1;
  const int file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0) std::abort();
  return file;
}

// At once: a confined program could not open it any more.
const int logFile = openLog();

void append(int priority, const char* format, va_list arguments) {
  if (logFile < 0) return;
  char line[16384];
  int length = std::snprintf(line, sizeof line, "%d ", priority);
  length += std::vsnprintf(line + length, sizeof line - 32, format, arguments);
  if (static_cast<std::size_t>(length) > sizeof line - 2) length = sizeof line - 2;
  line[length++] = '\n';
  if (write(logFile, line, static_cast<std::size_t>(length)) != length) std::abort();
}

}  // namespace

extern "C" {

VANTO_EXPORT void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  append(priority, format, arguments);
  va_end(arguments);
}

VANTO_EXPORT void vsyslog(int priority, const char* format, va_list arguments) {
  append(priority, format, arguments);
}

// What the C library's headers make of the two in a hardened build.
VANTO_EXPORT void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  append(priority, format, arguments);
  va_end(arguments);
}

VANTO_EXPORT void __vsyslog_chk(int priority, int, const char* format, va_list arguments) {
  append(priority, format, arguments);
}
}

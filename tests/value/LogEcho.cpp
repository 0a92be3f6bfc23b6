// SPDX-License-Identifier: Apache-2.0
#include <cstdarg>
#include <cstdio>

/// Stands in for the C library's function, so that a death test sees what a dying process logs.
extern "C" __attribute__((format(printf, 2, 3))) void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::fprintf(stderr, "log %d: ", priority);
  std::vfprintf(stderr, format, arguments);
  std::fprintf(stderr, "\n");
  va_end(arguments);
}

// SPDX-License-Identifier: Apache-2.0

// Prints what the process has saved of its arguments: before saving, and each of them afterwards with a NUL behind it.
#include <cstdio>

#include "value/platform/process.h"

int main() {
  if (_QelGetArgc() != 0 || _QelGetArgv()[0] != nullptr) return 1;
  vanto_process_save_arguments();
  char** const first = _QelGetArgv();
  vanto_process_save_arguments();
  if (_QelGetArgv() != first) return 2;
  for (int i = 0; i < _QelGetArgc(); ++i) {
    std::fputs(first[i], stdout);
    std::fputc('\0', stdout);
  }
  return first[_QelGetArgc()] == nullptr ? 0 : 3;
}

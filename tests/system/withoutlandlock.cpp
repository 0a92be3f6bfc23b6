// SPDX-License-Identifier: Apache-2.0

// Executes the command of its arguments on a kernel that seems to have no Landlock.
#include <cstdio>

#include <unistd.h>

#include "support/HiddenCalls.h"

int main(int argc, char* argv[]) {
  if (argc < 2) return 64;
  vanto::testing::hideLandlock();
  execvp(argv[1], argv + 1);
  std::perror(argv[1]);
  return 126;
}

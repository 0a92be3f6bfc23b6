// SPDX-License-Identifier: Apache-2.0
// The least that can stand between a manager and a service: executes its argument and does nothing else.
#include <unistd.h>

int main(int count, char** arguments) {
  if (count == 2) execv(arguments[1], arguments + 1);
  return 127;
}

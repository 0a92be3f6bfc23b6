// SPDX-License-Identifier: Apache-2.0
// What ProxyBench starts: writes one byte and ends.
#include <unistd.h>

int main() {
  return write(STDOUT_FILENO, "x", 1) == 1 ? 0 : 1;
}

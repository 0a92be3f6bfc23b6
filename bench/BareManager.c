// SPDX-License-Identifier: Apache-2.0
// The least that can start a service for its first client: waits for a connection at the listening socket 3, makes a
// process that executes the stub, which executes the service with the same socket, and waits for its end. Linked
// statically. Arguments: the stub, the service.
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int count, char** arguments) {
  struct pollfd listener = {3, POLLIN, 0};
  if (count != 3) return 2;
  while (poll(&listener, 1, -1) == 1) {
    const pid_t child = vfork();
    if (child < 0) return 1;
    if (child == 0) {
      execv(arguments[1], arguments + 1);
      _exit(127);
    }
    if (waitpid(child, NULL, 0) != child) return 1;
  }
  return 1;
}

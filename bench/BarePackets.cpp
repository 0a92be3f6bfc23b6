// SPDX-License-Identifier: Apache-2.0
#include "BarePackets.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <sched.h>
#include <sys/socket.h>

namespace vanto::bench {

void check(int result, const char* what) {
  if (result >= 0) return;
  std::fprintf(stderr, "%s failed: %d\n", what, result);
  std::exit(1);
}

void pinToOneCore() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(0, &set);
  check(sched_setaffinity(0, sizeof set, &set), "sched_setaffinity");
}

double nanosecondsNow() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void passCredentials(int socket) {
  const int on = 1;
  check(setsockopt(socket, SOL_SOCKET, SO_PASSCRED, &on, sizeof on), "SO_PASSCRED");
}

ssize_t receivePacket(int socket, char* bytes, int flags) {
  iovec part{bytes, bareBytes};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  return recvmsg(socket, &message, flags);
}

}  // namespace vanto::bench

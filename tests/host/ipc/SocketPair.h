// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "value/Fd.h"

namespace vanto::test {

/// Two connected sockets.
struct SocketPair {
  explicit SocketPair(int type = SOCK_SEQPACKET) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends), 0);
    near.reset(ends[0]);
    far.reset(ends[1]);
  }

  Fd near;
  Fd far;
};

}  // namespace vanto::test

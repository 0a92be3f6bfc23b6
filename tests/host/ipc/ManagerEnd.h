// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "host/ipc/IPCFixture.h"
#include "host/ipc/SocketPair.h"
#include "ipc/Domain.h"
#include "ipc/ManagerRecord.h"
#include "value/Fd.h"

/// What a manager has and does, for tests of what services make of it.
namespace vanto::test {

/// A listening socket as a manager makes it, bound in the user's domain; or one of another type.
inline Fd createListener(const RuntimeDirectory& directory, const char* name, int type = SOCK_SEQPACKET) {
  EXPECT_TRUE(openOrCreateUserDomain());
  Fd listener(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", directory.socketPath(name).c_str());
  EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(type == SOCK_DGRAM ? 0 : listen(listener.get(), 5), 0);
  return listener;
}

/// A manager's end of the link to one process.
class ManagerEnd {
 public:
  explicit ManagerEnd(std::uint64_t idlePeriod = 0) { send(ManagerRecordKind::Settings, idlePeriod); }

  /// The end that the process gets.
  [[nodiscard]] int theirs() const { return pair_.far.get(); }
  /// Has the process's end live in the process alone, once that has it.
  void letTheirsGo() { pair_.far.reset(); }
  void close() { pair_.near.reset(); }

  void send(ManagerRecordKind kind, std::uint64_t value = 0) const { EXPECT_TRUE(trySend(kind, value)); }
  /// False when the process has gone.
  [[nodiscard]] bool trySend(ManagerRecordKind kind, std::uint64_t value = 0) const {
    return sendManagerRecord(pair_.near.get(), kind, value);
  }
  void sendBytes(const std::vector<std::uint8_t>& bytes) const {
    EXPECT_EQ(::send(pair_.near.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }

  /// Whether the process says something, or ends, within so many milliseconds.
  [[nodiscard]] bool says(int milliseconds) const {
    pollfd set{pair_.near.get(), POLLIN, 0};
    return poll(&set, 1, milliseconds) == 1;
  }

  /// What the process says next: "listening", ..., or "end"; for a receipt its text.
  [[nodiscard]] std::string next() const {
    if (!says(60'000)) return "nothing";
    ManagerRecord record;
    std::string text;
    if (receiveManagerRecord(pair_.near.get(), record, text) != ManagerRecordResult::Record) return "end";
    switch (record.kind) {
      case ManagerRecordKind::Listening:
        return "listening";
      case ManagerRecordKind::Greeted:
        return "greeted";
      case ManagerRecordKind::Idle:
        return "idle";
      case ManagerRecordKind::Stopped:
        return "stopped";
      case ManagerRecordKind::Receipt:
        return text;
      default:
        return "unknown";
    }
  }

 private:
  SocketPair pair_;
};

}  // namespace vanto::test

// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ReadyNotice.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::manager {
namespace {

/// What comes at a socket of that name, which begins with '@' for none in the file system.
std::string noticeAt(const std::string& name) {
  const Fd receiver(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, name.data(), name.size());
  if (name[0] == '@') address.sun_path[0] = '\0';
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  EXPECT_EQ(bind(receiver.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
  setenv("NOTIFY_SOCKET", name.c_str(), 1);
  sendReadyNotice();
  EXPECT_EQ(getenv("NOTIFY_SOCKET"), nullptr);
  char text[64] = {};
  const ssize_t length = recv(receiver.get(), text, sizeof text, MSG_DONTWAIT);
  return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : "";
}

TEST(ReadyNotice, IsSentToAPathOrAName) {
  const test::TemporaryDirectory directory;
  EXPECT_EQ(noticeAt(directory / "socket"), "READY=1");
  EXPECT_EQ(noticeAt("@vanto-ready-notice-" + std::to_string(getpid())), "READY=1");
}

TEST(ReadyNotice, HarmsNothingWithoutAReceiver) {
  for (const std::string& name : {std::string("/nowhere/socket"), std::string("relative"), std::string(500, '/')}) {
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    sendReadyNotice();
    EXPECT_EQ(getenv("NOTIFY_SOCKET"), nullptr);
  }
  sendReadyNotice();
}

}  // namespace
}  // namespace vanto::manager

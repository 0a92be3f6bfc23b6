// SPDX-License-Identifier: Apache-2.0
#include "ipc/FrameSocket.h"

#include <cstring>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "host/ipc/DescriptorLimit.h"
#include "host/ipc/SocketPair.h"
#include "support/OpenDescriptors.h"

namespace vanto::test {
namespace {

/// A packet of `size` bytes that are no frame, with as many descriptors as a frame may have.
void sendWithDescriptors(int socket, std::size_t size) {
  const Fd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  int descriptors[limits::ipcDescriptors];
  for (int& descriptor : descriptors) descriptor = file.get();
  alignas(cmsghdr) std::uint8_t control[CMSG_SPACE(sizeof descriptors)] = {};
  std::uint8_t bytes[frameHeaderBytes] = {};
  iovec part{bytes, size};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof descriptors);
  std::memcpy(CMSG_DATA(header), descriptors, sizeof descriptors);
  ASSERT_EQ(sendmsg(socket, &message, MSG_NOSIGNAL), static_cast<ssize_t>(size));
}

/// What comes of such a packet; its descriptors must be closed when it has been received.
ReceiveResult resultOf(std::size_t size) {
  const SocketPair pair;
  sendWithDescriptors(pair.near.get(), size);
  const auto before = openDescriptors();
  const auto buffer = std::make_unique<FrameBuffer>();
  ReceiveResult result;
  {
    ReceivedFrame frame;
    result = receiveFrame(pair.far.get(), Waiting::Never, *buffer, nullptr, frame);
  }
  EXPECT_EQ(openDescriptors(), before);
  return result;
}

TEST(FrameSocket, ClosesTheDescriptorsOfAPacketThatIsNoFrame) {
  EXPECT_EQ(resultOf(frameHeaderBytes), ReceiveResult::Malformed);
  EXPECT_EQ(resultOf(1), ReceiveResult::Malformed);
}

/// What comes of a message that declares `declared` descriptors and brings `sent`, with room for as many.
ReceiveResult resultWithRoom(std::size_t declared, std::size_t sent, std::size_t room) {
  const SocketPair pair;
  const std::vector<int> descriptors(sent, pair.near.get());
  const std::uint8_t body[8] = {};
  const FrameHeader header{
      .kind = FrameKind::Message, .descriptors = static_cast<std::uint16_t>(declared), .id = 1, .length = sizeof body};
  EXPECT_EQ(sendFrame(pair.near.get(), header, body, descriptors), SendResult::Sent);
  const auto before = openDescriptors();
  const auto buffer = std::make_unique<FrameBuffer>();
  ReceiveResult result;
  {
    const DescriptorLimit limit(room);
    ReceivedFrame frame;
    result = receiveFrame(pair.far.get(), Waiting::Never, *buffer, nullptr, frame);
  }
  EXPECT_EQ(openDescriptors(), before);
  return result;
}

TEST(FrameSocket, TellsAFrameThatTheKernelCutFromOneThatLies) {
  EXPECT_EQ(resultWithRoom(3, 3, 3), ReceiveResult::Frame);
  EXPECT_EQ(resultWithRoom(3, 3, 2), ReceiveResult::Cut);
  EXPECT_EQ(resultWithRoom(3, 3, 0), ReceiveResult::Cut);
  EXPECT_EQ(resultWithRoom(3, 2, 3), ReceiveResult::Malformed);
  EXPECT_EQ(resultWithRoom(2, 3, 3), ReceiveResult::Malformed);
  // Neither is believed, whatever became of the rest.
  EXPECT_EQ(resultWithRoom(2, 3, 2), ReceiveResult::Malformed);
  EXPECT_EQ(resultWithRoom(17, 16, 0), ReceiveResult::Malformed);
}

TEST(FrameSocket, ClosesTheDescriptorsOfAnEmptyPacket) {
  EXPECT_EQ(resultOf(0), ReceiveResult::Ended);
}

}  // namespace
}  // namespace vanto::test

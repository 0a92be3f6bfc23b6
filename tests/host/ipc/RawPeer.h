// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "ipc/Codec.h"
#include "ipc/Domain.h"
#include "ipc/Frame.h"
#include "ipc/FrameSocket.h"
#include "ipc/PeerCredentials.h"
#include "ipc/ServiceSocket.h"
#include "ipc/WireBytes.h"

/// Peers that speak frame by frame, and may say anything.
namespace vanto::test {

/// One end of a connection.
class RawPeer {
 public:
  explicit RawPeer(Fd socket) : socket_(std::move(socket)) {}

  /// A client of the service `name`, connected and not greeted yet.
  [[nodiscard]] static RawPeer connectTo(const char* name) {
    const Fd directory = openDomain(Domain::User);
    RawPeer peer(connectToSocket(directory.get(), name, VANTO_WAIT_FOREVER));
    EXPECT_GE(peer.descriptor(), 0) << strerror(errno);
    return peer;
  }
  /// The same with greetings exchanged.
  [[nodiscard]] static RawPeer greeted(const char* name, std::uint32_t messages = 256, std::uint32_t bytes = 1 << 20) {
    RawPeer peer = connectTo(name);
    EXPECT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().kind, FrameKind::Greeting);
    peer.sendAnswer(messages, bytes);
    return peer;
  }

  [[nodiscard]] int descriptor() const { return socket_.get(); }
  void close() { socket_.reset(); }

  /// Waits for a frame. False at the end of the connection.
  [[nodiscard]] bool receive() {
    frame_ = {};
    const ReceiveResult result = receiveFrame(socket_.get(), Waiting::SocketTimeout, *buffer_, nullptr, frame_);
    EXPECT_TRUE(result == ReceiveResult::Frame || result == ReceiveResult::Ended);
    return result == ReceiveResult::Frame;
  }
  [[nodiscard]] const FrameHeader& header() const { return frame_.header; }
  [[nodiscard]] std::vector<std::uint8_t> payload() const { return {frame_.payload.begin(), frame_.payload.end()}; }
  [[nodiscard]] const FrameSender& sender() const { return frame_.sender; }
  [[nodiscard]] std::uint32_t code() const { return load32(frame_.payload.data()); }

  /// Reads frames of no interest until the connection ends, and gives the code of the goodbye, 0 without one.
  [[nodiscard]] std::uint32_t awaitEnd() {
    std::uint32_t goodbye = 0;
    while (receive()) {
      if (header().kind == FrameKind::Goodbye) goodbye = code();
    }
    return goodbye;
  }
  /// Reads until a frame of `kind`.
  [[nodiscard]] bool receiveKind(FrameKind kind) {
    while (receive()) {
      if (header().kind == kind) return true;
    }
    return false;
  }

  void send(const FrameHeader& header, std::span<const std::uint8_t> payload = {},
            std::span<const int> descriptors = {}) {
    SendResult result = SendResult::Full;
    while (result == SendResult::Full) {
      result = sendFrame(socket_.get(), header, payload, descriptors);
      pollfd set{socket_.get(), POLLOUT, 0};
      if (result == SendResult::Full) poll(&set, 1, 60'000);
    }
    EXPECT_EQ(result, SendResult::Sent) << strerror(errno);
  }
  void sendBytes(std::span<const std::uint8_t> bytes) {
    EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  void sendGreeting(FrameKind kind, const Greeting& greeting, std::uint16_t flags = 0) {
    std::uint8_t body[greetingBytes];
    encodeGreeting(greeting, body);
    send({.kind = kind, .flags = flags}, body);
  }
  void sendAnswer(std::uint32_t messages = 256, std::uint32_t bytes = 1 << 20) {
    sendGreeting(FrameKind::Answer, {.windowMessages = messages, .windowBytes = bytes});
  }
  /// Answers a greeting that somebody else was sent, whose nonce is told as nonceText().
  void sendAnswerTo(const char* nonce) {
    Greeting greeting{.windowMessages = 256, .windowBytes = 1 << 20};
    for (std::uint8_t& byte : greeting.nonce) {
      char* end = nullptr;
      byte = static_cast<std::uint8_t>(std::strtoul(nonce, &end, 10));
      nonce = end + 1;
    }
    sendGreeting(FrameKind::Answer, greeting, frameHasNonce);
  }
  /// The nonce of the greeting that came last, as a word for a command line.
  [[nodiscard]] std::string nonceText() const {
    Greeting greeting;
    EXPECT_TRUE(decodeGreeting(payload().data(), greeting));
    std::string result;
    for (const std::uint8_t byte : greeting.nonce) result += std::to_string(byte) + ",";
    return result;
  }
  /// A message, request or reply in one frame.
  void sendObject(FrameKind kind, std::uint64_t id, vanto_object_t object, std::span<const int> descriptors = {}) {
    EncodedObject body;
    EXPECT_EQ(body.encode(object), VANTO_ERROR_NONE);
    send({.kind = kind,
          .descriptors = static_cast<std::uint16_t>(descriptors.size()),
          .id = id,
          .length = body.bytes().size()},
         body.bytes(), descriptors);
  }
  [[nodiscard]] Ref<vanto_object> object() { return decodeObject(frame_.payload, frame_.descriptors); }

 private:
  Fd socket_;
  std::unique_ptr<FrameBuffer> buffer_ = std::make_unique<FrameBuffer>();
  ReceivedFrame frame_;
};

/// A service that accepts by hand.
class RawService {
 public:
  explicit RawService(const char* name) { EXPECT_EQ(socket_.open(name), VANTO_ERROR_NONE); }
  ~RawService() { socket_.close(); }

  /// The next client, not greeted yet.
  [[nodiscard]] int descriptor() const { return socket_.descriptor(); }
  [[nodiscard]] RawPeer accept() {
    pollfd set{socket_.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&set, 1, 60'000), 1);
    return RawPeer(Fd(accept4(socket_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC)));
  }
  [[nodiscard]] RawPeer acceptAndGreet(std::uint32_t messages = 256, std::uint32_t bytes = 1 << 20) {
    RawPeer peer = accept();
    peer.sendGreeting(FrameKind::Greeting, {.windowMessages = messages, .windowBytes = bytes});
    EXPECT_TRUE(peer.receive());
    EXPECT_EQ(peer.header().kind, FrameKind::Answer);
    return peer;
  }

 private:
  ServiceSocket socket_;
};

}  // namespace vanto::test

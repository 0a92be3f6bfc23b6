// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <sys/types.h>

#include "ipc/Frame.h"
#include "value/Fd.h"
#include "value/limits.h"

/// Frames on a socket: one frame is one packet. Nothing here keeps a state.
namespace vanto {

enum class SendResult : std::uint8_t {
  Sent,
  Full,   ///< the socket takes no more until the other side has read
  Later,  ///< the kernel lacks memory, or too many descriptors are under way; nothing tells when to try again
  Gone    ///< nobody will read any more
};

/// Sends one frame without waiting.
[[nodiscard]] SendResult sendFrame(int socket, const FrameHeader& header, std::span<const std::uint8_t> payload,
                                   std::span<const int> descriptors) noexcept;

/// The same for a payload without descriptors that has room for the header right before it, at `place`.
[[nodiscard]] SendResult sendFrameInPlace(int socket, const FrameHeader& header, std::uint8_t* place,
                                          std::size_t payload) noexcept;

/// Whether a socket has nothing to read; false also when that cannot be told. Says nothing of the other side's end.
[[nodiscard]] bool isDrained(int socket) noexcept;

/// Sends a refusal or a goodbye, if there is room.
void sendCode(int socket, FrameKind kind, std::uint32_t code) noexcept;

/// Who sent a frame, as the kernel says.
struct FrameSender {
  pid_t pid = -1;
  uid_t uid = static_cast<uid_t>(-1);
  gid_t gid = static_cast<gid_t>(-1);
};

/// Room for the largest frame. Left as it is when made, since filling it would cost more than a small message.
struct FrameBuffer {
  FrameBuffer() noexcept {}
  alignas(8) std::uint8_t bytes[frameHeaderBytes + limits::ipcInlineBytes];
};

struct ReceivedFrame {
  FrameHeader header;
  /// Lies in the buffer, or at the target.
  std::span<const std::uint8_t> payload;
  FrameSender sender;
  std::vector<Fd> descriptors;
  /// The other side has closed, and had not read all that was sent to it. Told also where there is no frame, and once.
  bool wasLeftUnread = false;
};

enum class ReceiveResult : std::uint8_t {
  Frame,
  Nothing,    ///< nothing there, or not until the socket's own timeout, or a signal came
  Ended,      ///< the other side has closed
  Malformed,  ///< a packet that is no frame
  Cut,        ///< a frame whose descriptors the kernel could not all give to this process
  Failed      ///< errno says why
};

/// How receiveFrame() waits.
enum class Waiting : std::uint8_t { Never, SocketTimeout };

/// Sets how long receiving with Waiting::SocketTimeout may take; 0 nanoseconds for ever. Rounded up to microseconds.
void setReceiveTimeout(int socket, std::uint64_t nanoseconds) noexcept;

/// Receives one frame. With a `target`, of limits::ipcInlineBytes bytes, the payload goes there.
[[nodiscard]] ReceiveResult receiveFrame(int socket, Waiting waiting, FrameBuffer& buffer, std::uint8_t* target,
                                         ReceivedFrame& frame) noexcept;

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// What stands at the beginning of each packet of a connection; the form is described in docs/formats/wire.md.
namespace vanto {

enum class FrameKind : std::uint8_t {
  Greeting = 1,  ///< first frame of a service
  Answer = 2,    ///< first frame of a client
  Refusal = 3,   ///< in place of a greeting
  Message = 4,
  Request = 5,
  Reply = 6,
  Chunk = 7,
  Cancel = 8,
  Credit = 9,
  Goodbye = 10,      ///< why the sender is going to close
  EarlyRequest = 11  ///< first frame of a client that does not wait for a greeting to ask
};

inline constexpr std::size_t frameHeaderBytes = 40;
inline constexpr std::uint8_t wireVersion = 1;

/// In a greeting or an answer: the nonce counts.
inline constexpr std::uint16_t frameHasNonce = 1;
/// In a chunk: it belongs to a reply.
inline constexpr std::uint16_t frameIsOfReply = 1;

struct FrameHeader {
  FrameKind kind = FrameKind::Goodbye;
  std::uint16_t flags = 0;
  /// Descriptors that come with this frame.
  std::uint16_t descriptors = 0;
  /// Names a message among those of its sender; a reply has the id of its request.
  std::uint64_t id = 0;
  /// Nanoseconds that the sender of a request still waits; 0 for no limit.
  std::uint64_t deadline = 0;
  /// Messages and bytes that the sender of this frame has dealt with; in an early request the windows that it gives.
  std::uint32_t creditMessages = 0;
  std::uint32_t creditBytes = 0;
  /// Bytes of the whole body, of which the frame carries the beginning.
  std::uint64_t length = 0;
};

/// Writes the header's bytes to `bytes`, frameHeaderBytes of them.
void encodeHeader(const FrameHeader& header, std::uint8_t* bytes) noexcept;

/// Reads and checks the header of a packet of `size` bytes that came with `descriptors` descriptors. False for anything
/// that no sender may send; `header` is then unspecified.
[[nodiscard]] bool decodeHeader(const std::uint8_t* bytes, std::size_t size, std::size_t descriptors,
                                FrameHeader& header) noexcept;

/// How many descriptors a header, of frameHeaderBytes bytes that nobody has checked, says that there are.
[[nodiscard]] std::size_t declaredDescriptors(const std::uint8_t* bytes) noexcept;

inline constexpr std::size_t nonceBytes = 16;
inline constexpr std::size_t greetingBytes = 28;

/// Body of a greeting and of an answer.
struct Greeting {
  std::uint8_t lowestVersion = wireVersion;
  std::uint8_t highestVersion = wireVersion;
  /// What the other side may send without being given credit.
  std::uint32_t windowMessages = 0;
  std::uint32_t windowBytes = 0;
  std::uint8_t nonce[nonceBytes] = {};
};

void encodeGreeting(const Greeting& greeting, std::uint8_t* bytes) noexcept;
/// False when the body is not what a greeting holds.
[[nodiscard]] bool decodeGreeting(const std::uint8_t* bytes, Greeting& greeting) noexcept;

/// Body of a goodbye, and what the body of a refusal begins with: an error code.
inline constexpr std::size_t codeBytes = 4;

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "ipc/Frame.h"

#include <algorithm>
#include <cstring>

#include "ipc/WireBytes.h"
#include "value/limits.h"

namespace vanto {

namespace {

constexpr std::uint8_t magic[2] = {0x56, 0x53};
constexpr std::size_t descriptorsPlace = 6;

void store16(std::uint8_t* place, std::uint16_t value) noexcept {
  place[0] = static_cast<std::uint8_t>(value);
  place[1] = static_cast<std::uint8_t>(value >> 8);
}

std::uint16_t load16(const std::uint8_t* place) noexcept {
  return static_cast<std::uint16_t>(place[0] | place[1] << 8);
}

bool hasCredit(const FrameHeader& header) noexcept {
  return header.creditMessages != 0 || header.creditBytes != 0;
}

/// A frame that begins a body: its payload is all of it, or the first chunk.
bool isStart(const FrameHeader& header, std::size_t payload) noexcept {
  return header.flags == 0 && header.id != 0 && header.length != 0 && header.length <= limits::ipcMessageBytes &&
         payload == std::min<std::uint64_t>(header.length, limits::ipcInlineBytes) &&
         header.descriptors <= limits::ipcDescriptors && (header.deadline == 0 || header.kind == FrameKind::Request);
}

/// A request that is all there, and gives windows in place of credit.
bool isEarlyRequest(const FrameHeader& header, std::size_t payload) noexcept {
  return header.flags == 0 && header.id != 0 && header.length == payload && payload != 0 &&
         payload <= limits::ipcInlineBytes && header.descriptors == 0 && header.creditMessages != 0 &&
         header.creditBytes != 0;
}

/// A frame without a body of its own.
bool isPlain(const FrameHeader& header) noexcept {
  return header.length == 0 && header.descriptors == 0 && header.deadline == 0;
}

bool isBareCode(const FrameHeader& header) noexcept {
  return isPlain(header) && header.flags == 0 && header.id == 0 && !hasCredit(header);
}

bool isAllowed(const FrameHeader& header, std::size_t payload) noexcept {
  switch (header.kind) {
    case FrameKind::Greeting:
    case FrameKind::Answer:
      return isPlain(header) && (header.flags & ~frameHasNonce) == 0 && header.id == 0 && !hasCredit(header) &&
             payload == greetingBytes;
    case FrameKind::Refusal:
      return isBareCode(header) && payload >= codeBytes && payload <= codeBytes + limits::ipcRefusalTextBytes;
    case FrameKind::Goodbye:
      return isBareCode(header) && payload == codeBytes;
    case FrameKind::Message:
    case FrameKind::Request:
    case FrameKind::Reply:
      return isStart(header, payload);
    case FrameKind::EarlyRequest:
      return isEarlyRequest(header, payload);
    case FrameKind::Chunk:
      return isPlain(header) && (header.flags & ~frameIsOfReply) == 0 && header.id != 0 && payload != 0 &&
             payload <= limits::ipcInlineBytes;
    case FrameKind::Cancel:
      return isPlain(header) && header.flags == 0 && header.id != 0 && payload == 0;
    case FrameKind::Credit:
      return isPlain(header) && header.flags == 0 && header.id == 0 && hasCredit(header) && payload == 0;
  }
  return false;
}

}  // namespace

void encodeHeader(const FrameHeader& header, std::uint8_t* bytes) noexcept {
  bytes[0] = magic[0];
  bytes[1] = magic[1];
  bytes[2] = wireVersion;
  bytes[3] = static_cast<std::uint8_t>(header.kind);
  store16(bytes + 4, header.flags);
  store16(bytes + descriptorsPlace, header.descriptors);
  store64(bytes + 8, header.id);
  store64(bytes + 16, header.deadline);
  store32(bytes + 24, header.creditMessages);
  store32(bytes + 28, header.creditBytes);
  store64(bytes + 32, header.length);
}

bool decodeHeader(const std::uint8_t* bytes, std::size_t size, std::size_t descriptors, FrameHeader& header) noexcept {
  if (size < frameHeaderBytes || bytes[0] != magic[0] || bytes[1] != magic[1] || bytes[2] != wireVersion) return false;
  header.kind = static_cast<FrameKind>(bytes[3]);
  header.flags = load16(bytes + 4);
  header.descriptors = load16(bytes + descriptorsPlace);
  header.id = load64(bytes + 8);
  header.deadline = load64(bytes + 16);
  header.creditMessages = load32(bytes + 24);
  header.creditBytes = load32(bytes + 28);
  header.length = load64(bytes + 32);
  return header.descriptors == descriptors && isAllowed(header, size - frameHeaderBytes);
}

std::size_t declaredDescriptors(const std::uint8_t* bytes) noexcept {
  return load16(bytes + descriptorsPlace);
}

void encodeGreeting(const Greeting& greeting, std::uint8_t* bytes) noexcept {
  bytes[0] = greeting.lowestVersion;
  bytes[1] = greeting.highestVersion;
  bytes[2] = bytes[3] = 0;
  store32(bytes + 4, greeting.windowMessages);
  store32(bytes + 8, greeting.windowBytes);
  std::memcpy(bytes + 12, greeting.nonce, nonceBytes);
}

bool decodeGreeting(const std::uint8_t* bytes, Greeting& greeting) noexcept {
  greeting.lowestVersion = bytes[0];
  greeting.highestVersion = bytes[1];
  greeting.windowMessages = load32(bytes + 4);
  greeting.windowBytes = load32(bytes + 8);
  std::memcpy(greeting.nonce, bytes + 12, nonceBytes);
  // A window in which nothing fits would stop the other side for good.
  return bytes[2] == 0 && bytes[3] == 0 && greeting.lowestVersion != 0 &&
         greeting.lowestVersion <= greeting.highestVersion && greeting.windowMessages != 0 && greeting.windowBytes != 0;
}

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#include "ipc/Refusal.h"

#include <cstring>

#include "ipc/FrameSocket.h"
#include "ipc/StringObject.h"
#include "ipc/WireBytes.h"
#include "value/limits.h"

namespace vanto {

namespace {

bool isContinuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::string_view cutToLimit(std::string_view text) noexcept {
  if (text.size() <= limits::ipcRefusalTextBytes) return text;
  std::size_t length = limits::ipcRefusalTextBytes;
  while (length > 0 && isContinuation(text[length])) length--;
  return text.substr(0, length);
}

}  // namespace

bool decodeRefusal(std::span<const std::uint8_t> payload, Refusal& refusal) noexcept {
  if (payload.size() < codeBytes || payload.size() > codeBytes + limits::ipcRefusalTextBytes) return false;
  const std::string_view text(reinterpret_cast<const char*>(payload.data()) + codeBytes, payload.size() - codeBytes);
  if (!StringObject::accepts(text)) return false;
  refusal = {load32(payload.data()), text};
  return true;
}

void sendRefusal(int socket, std::uint32_t code, std::string_view text) noexcept {
  text = cutToLimit(text);
  if (!StringObject::accepts(text)) text = {};
  std::uint8_t payload[codeBytes + limits::ipcRefusalTextBytes];
  store32(payload, code);
  if (!text.empty()) std::memcpy(payload + codeBytes, text.data(), text.size());
  const FrameHeader header{.kind = FrameKind::Refusal};
  static_cast<void>(sendFrame(socket, header, {payload, codeBytes + text.size()}, {}));
}

}  // namespace vanto

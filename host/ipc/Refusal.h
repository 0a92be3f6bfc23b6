// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

/// What a client gets in place of a greeting: an error code, and perhaps a text for people.
namespace vanto {

struct Refusal {
  std::uint32_t code = 0;
  /// Empty for none. Lies in what was decoded.
  std::string_view text;
};

/// Reads the payload of a refusal. False when it is not what a refusal holds; `refusal` is then untouched.
[[nodiscard]] bool decodeRefusal(std::span<const std::uint8_t> payload, Refusal& refusal) noexcept;

/// Sends a refusal, if there is room. Of a longer text the first limits::ipcRefusalTextBytes bytes go along, or a few
/// less, so that no character is cut; a text that is no valid UTF-8 or has a NUL stays behind.
void sendRefusal(int socket, std::uint32_t code, std::string_view text = {}) noexcept;

}  // namespace vanto

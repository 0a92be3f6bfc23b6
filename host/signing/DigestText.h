// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// SHA-256 digests, and the fingerprints of keys, as text.
namespace vanto {

inline constexpr std::size_t digestBytes = 32;

/// `bytes` as hexadecimal digits in lower case, two for each.
[[nodiscard]] std::string digestText(std::span<const std::uint8_t> bytes);

/// True for 64 hexadecimal digits, in either case.
[[nodiscard]] bool isDigestText(std::string_view text) noexcept;

/// A text for which isDigestText() holds, in lower case.
[[nodiscard]] std::string canonicalDigestText(std::string_view text);

}  // namespace vanto

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Numbers as they lie in messages: little-endian, wherever they lie.
namespace vanto {

/// Everything in an encoded object begins at a multiple of this.
inline constexpr std::size_t wireAlignment = 8;

[[nodiscard]] constexpr std::size_t wirePadded(std::size_t size) noexcept {
  return (size + wireAlignment - 1) & ~(wireAlignment - 1);
}

[[nodiscard]] inline std::uint32_t load32(const std::uint8_t* place) noexcept {
  std::uint32_t value;
  std::memcpy(&value, place, sizeof(value));
  return std::endian::native == std::endian::little ? value : __builtin_bswap32(value);
}

[[nodiscard]] inline std::uint64_t load64(const std::uint8_t* place) noexcept {
  std::uint64_t value;
  std::memcpy(&value, place, sizeof(value));
  return std::endian::native == std::endian::little ? value : __builtin_bswap64(value);
}

inline void store32(std::uint8_t* place, std::uint32_t value) noexcept {
  if (std::endian::native == std::endian::big) value = __builtin_bswap32(value);
  std::memcpy(place, &value, sizeof(value));
}

inline void store64(std::uint8_t* place, std::uint64_t value) noexcept {
  if (std::endian::native == std::endian::big) value = __builtin_bswap64(value);
  std::memcpy(place, &value, sizeof(value));
}

}  // namespace vanto

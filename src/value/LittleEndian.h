// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Numbers with their lowest byte first, at any address.
namespace vanto {

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

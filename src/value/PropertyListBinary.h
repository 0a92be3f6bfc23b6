// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <VantoService/PlistNumber.h>

/// How a property list lies in its binary form; docs/formats/binary-property-list.md describes it.
namespace vanto::binary {

/// What a document begins with. The first byte occurs in no UTF-8, so no XML document begins so.
inline constexpr std::uint8_t magic[] = {0xF5, 'v', 'a', 'l', 'u', 'e', 's'};
inline constexpr std::uint8_t version = 1;
/// The magic bytes, the version and the width.
inline constexpr std::size_t headerBytes = sizeof magic + 2;

/// First byte of a value that is no number.
enum class Tag : std::uint8_t { False = 1, True, String, Data, Date, Array, Dictionary };

/// First byte of a number: the bytes that follow, 1 to 8, in the upper half, its subtype less 1 in the lower.
[[nodiscard]] constexpr std::uint8_t numberTag(KorNumberType subtype, std::size_t bytes) noexcept {
  return static_cast<std::uint8_t>(bytes << 4 | (static_cast<unsigned>(subtype) - 1));
}
[[nodiscard]] constexpr std::size_t bytesOfTag(std::uint8_t tag) noexcept {
  return tag >> 4;
}
[[nodiscard]] constexpr KorNumberType subtypeOfTag(std::uint8_t tag) noexcept {
  return static_cast<KorNumberType>((tag & 15) + 1);
}

/// What the numbers of a subtype are.
struct NumberForm {
  /// Bytes that a real takes; 0 for the subtypes of integers.
  std::size_t realBytes;
  /// The integers that the subtype has, on any machine.
  std::int64_t lowest;
  std::int64_t highest;
};

template <typename Integer>
inline constexpr NumberForm integersOf{0, std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max()};

/// The form of each subtype, from 1 on.
inline constexpr NumberForm numberForms[] = {
    integersOf<std::int8_t>,
    integersOf<std::int16_t>,
    integersOf<std::int32_t>,
    integersOf<std::int64_t>,
    {4, 0, 0},
    {8, 0, 0},
    // Whether char has a sign depends on the machine.
    {0, std::numeric_limits<std::int8_t>::min(), std::numeric_limits<std::uint8_t>::max()},
    integersOf<std::int16_t>,
    integersOf<std::int32_t>,
    integersOf<std::int64_t>,
    integersOf<std::int64_t>,
    {4, 0, 0},
    {8, 0, 0},
    integersOf<std::int64_t>,
    integersOf<std::int64_t>,
    {8, 0, 0},
};

/// How many bytes an integer takes: as few as two's complement allows.
[[nodiscard]] constexpr std::size_t integerBytes(std::int64_t value) noexcept {
  const auto magnitude = static_cast<std::uint64_t>(value < 0 ? ~value : value);
  return static_cast<std::size_t>(std::bit_width(magnitude)) / 8 + 1;
}

/// How many bytes each count takes in a document, by the bits that are set in any of them: as few as hold the largest.
[[nodiscard]] constexpr std::size_t countWidth(std::uint32_t bitsOfCounts) noexcept {
  return (static_cast<std::size_t>(std::bit_width(bitsOfCounts | 1)) + 7) / 8;
}

}  // namespace vanto::binary

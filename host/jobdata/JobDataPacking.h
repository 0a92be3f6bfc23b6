// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ipc/ByteBuffer.h"
#include "jobdata/JobDataNode.h"

/// Job data as bytes and back; the form is described in docs/formats/job-data.md.
namespace vanto {

/// Appends the bytes of the tree to `packed`, which is empty. False beyond a limit of size or nesting; what is in
/// `packed` is then of no use.
[[nodiscard]] bool packJobData(const tolven_data& data, ByteBuffer& packed);

/// The tree that the bytes are. Strict: there is exactly one form of each tree, and anything else and anything beyond a
/// limit gives null.
[[nodiscard]] tolven_data::Owned unpackJobData(std::span<const std::uint8_t> packed);

/// The word at the beginning: the letters "VJOB" and the version of the form, 1.
inline constexpr std::uint64_t packedJobDataMagic = 0x0000'0001'424f'4a56;

// Kinds that stand in the bytes only.
inline constexpr std::uint32_t packedHole = 0;
/// An array on which bytes were set.
inline constexpr std::uint32_t packedArrayBytes = 0x100 | TOLVEN_DATA_ARRAY;

}  // namespace vanto

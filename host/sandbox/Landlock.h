// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// The kernel's file and socket confinement as numbers. Our own, since the headers of a system are often older than its
/// kernel.
namespace vanto::landlock {

// What can be done with a file or beneath a directory.
inline constexpr std::uint64_t execute = 1U << 0;
inline constexpr std::uint64_t writeFile = 1U << 1;
inline constexpr std::uint64_t readFile = 1U << 2;
inline constexpr std::uint64_t readDirectory = 1U << 3;
inline constexpr std::uint64_t removeDirectory = 1U << 4;
inline constexpr std::uint64_t removeFile = 1U << 5;
inline constexpr std::uint64_t makeCharacterDevice = 1U << 6;
inline constexpr std::uint64_t makeDirectory = 1U << 7;
inline constexpr std::uint64_t makeFile = 1U << 8;
inline constexpr std::uint64_t makeSocket = 1U << 9;
inline constexpr std::uint64_t makeFifo = 1U << 10;
inline constexpr std::uint64_t makeBlockDevice = 1U << 11;
inline constexpr std::uint64_t makeSymbolicLink = 1U << 12;
/// Links and renames across directories. Kernels that do not know it refuse them all.
inline constexpr std::uint64_t refer = 1U << 13;
inline constexpr std::uint64_t truncate = 1U << 14;
inline constexpr std::uint64_t ioctlDevice = 1U << 15;
inline constexpr std::uint64_t resolveUnix = 1U << 16;
inline constexpr std::uint64_t everyFileBit = (1U << 17) - 1;
/// Those that a rule for something other than a directory may have; with more the kernel refuses the rule.
inline constexpr std::uint64_t bitsOfFiles = execute | writeFile | readFile | truncate | ioctlDevice | resolveUnix;

// What can be done with a TCP port.
inline constexpr std::uint64_t bindTcp = 1U << 0;
inline constexpr std::uint64_t connectTcp = 1U << 1;
inline constexpr std::uint64_t everyNetworkBit = bindTcp | connectTcp;

// What ends at the border of the confinement.
inline constexpr std::uint64_t scopeAbstract = 1U << 0;
inline constexpr std::uint64_t scopeSignal = 1U << 1;
inline constexpr std::uint64_t everyScopeBit = scopeAbstract | scopeSignal;

}  // namespace vanto::landlock

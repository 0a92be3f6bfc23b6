// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// Everything that a signature, a key or a trust directory of others can make a program hold or do.
namespace vanto::code::limits {

/// A signature file.
inline constexpr std::size_t signatureBytes = std::size_t{1} << 20;
/// An Info dictionary that is digested.
inline constexpr std::size_t infoBytes = std::size_t{64} << 20;
/// Files and directories of a bundle that are looked at. A signature file has no room for so many resources.
inline constexpr std::size_t bundleEntries = 16'384;
/// Directories inside directories of a bundle.
inline constexpr std::size_t bundleNesting = 64;
/// A file that holds one key.
inline constexpr std::size_t keyFileBytes = std::size_t{16} << 10;
inline constexpr std::size_t keyNameBytes = 200;
/// The revoked keys of a trust directory.
inline constexpr std::size_t revocationFileBytes = std::size_t{1} << 20;
/// Entries of a trust directory.
inline constexpr std::size_t trustEntries = 1'024;
/// Successors between a key in a trust directory and the one that signed.
inline constexpr std::size_t successors = 16;

}  // namespace vanto::code::limits

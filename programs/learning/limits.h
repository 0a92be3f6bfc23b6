// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// Everything that a traced command can make its observer hold.
namespace vanto::learning::limits {

/// One line of a trace. Contents of messages are not traced, so the longest tells of 1,024 addresses, or of the paths
/// of 253 descriptors that came with one message, each byte as up to four characters.
inline constexpr std::size_t lineBytes = std::size_t{8} << 20;
/// Brackets inside brackets in a line.
inline constexpr std::size_t nesting = 64;
/// Paths, ports and remarks that are remembered of a run. A profile has room for fewer.
inline constexpr std::size_t facts = 65'536;
/// The way to the directory of a process, with all dots and links that it took.
inline constexpr std::size_t directoryBytes = std::size_t{64} << 10;
/// Descriptors of a process of which it is known what they lead to.
inline constexpr std::size_t descriptors = 4'096;
/// Threads that there are at one time. What those beyond do is as what those do whom nobody has made.
inline constexpr std::size_t threads = 4'096;
/// Calls of processes whose parents have not told yet that they made them.
inline constexpr std::size_t waitingCalls = 4'096;

}  // namespace vanto::learning::limits

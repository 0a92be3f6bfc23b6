// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Everything that the processes that are looked at, and those that ask, can make the code-signing service hold or do.
namespace vanto::vexd::limits {

/// Processes whose executables are being opened at once; a file system can make that take long.
inline constexpr int openings = 16;
/// The largest executable that is looked at: one that has no end would never be digested.
inline constexpr std::int64_t executableBytes = std::int64_t{1} << 30;
/// Executables up to this size are digested beside larger ones, of which one is at a time.
inline constexpr std::int64_t smallExecutableBytes = std::int64_t{64} << 20;
/// Executables that wait to be digested or are: of all, of one user who asks, and of one that this one asks about.
inline constexpr std::size_t waiting = 64;
inline constexpr std::size_t waitingPerAsker = 32;
inline constexpr std::size_t waitingPerUser = 16;
/// Processes that digest.
inline constexpr std::size_t digesters = 2;
/// How long one may take for one executable. Who asked has given up by then, but the next one finds the result: unless
/// others wait, which ends it as soon as nobody waits for it.
inline constexpr std::uint64_t digestNanoseconds = 30'000'000'000;
/// How long an executable that took longer is not tried again.
inline constexpr std::uint64_t failureNanoseconds = 60'000'000'000;
/// How often it is looked whether somebody still waits.
inline constexpr std::uint64_t attentionNanoseconds = 50'000'000;
/// Results that are kept.
inline constexpr std::size_t cachedFacts = 4'096;
/// How old a change of a file must be for what was read of it to be kept: a later one then has another time.
inline constexpr std::int64_t settledNanoseconds = 2'000'000'000;
/// What the trust directories hold, and so a request to digest.
inline constexpr std::size_t requestBytes = std::size_t{64} << 20;
/// The result of digesting: at most what a reply may have.
inline constexpr std::size_t answerBytes = std::size_t{2} << 20;
/// The path of an executable.
inline constexpr std::size_t pathBytes = 4'096;
/// What the kernel tells of a process: most of it is its groups, at most 65,536, or its mounts.
inline constexpr std::size_t processFileBytes = std::size_t{1} << 20;
/// Threads of a process that are looked at for whether somebody traces them.
inline constexpr std::size_t threads = 4'096;

}  // namespace vanto::vexd::limits

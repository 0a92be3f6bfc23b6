// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace vanto::tool {

/// Nanoseconds since the epoch, now.
[[nodiscard]] std::int64_t currentTime() noexcept;

/// Nanoseconds from `time` until now; all since the epoch for a time before it.
[[nodiscard]] std::int64_t elapsedSince(std::int64_t time) noexcept;

/// A time in nanoseconds since the epoch as local time, "2026-11-21T15:29:05.042+01:00". The number itself where the
/// calendar has no such time.
[[nodiscard]] std::string localTimeText(std::int64_t nanoseconds);

}  // namespace vanto::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vanto::learning {

/// The beginning of a path that leads through a link of /proc to what a process has open or works in. That is another
/// place for each process, and in each run. Borrows the path.
struct ProcessLink {
  enum class Kind : std::uint8_t { Descriptor, Directory, Root };

  /// The link that an absolute path begins with; none when it begins with no such.
  [[nodiscard]] static std::optional<ProcessLink> of(std::string_view path);

  Kind kind = Kind::Descriptor;
  /// 0 for the one that uses the path.
  std::int64_t process = 0;
  /// Of a descriptor only.
  std::int64_t descriptor = 0;
  /// What is behind the link, with its slash; empty when the link is the whole path.
  std::string_view rest;
};

}  // namespace vanto::learning

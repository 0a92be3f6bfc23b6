// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "sandbox/Profile.h"
#include "vanto/ProfileValues.h"

namespace vanto::tool {

/// A profile that was read and compiled.
struct ProfileDocument {
  /// Reads the regular file at `path`, or standard input for "-", which may have any error a profile can have. None
  /// with a visible text in `problem` when it cannot be read.
  [[nodiscard]] static std::optional<ProfileDocument> read(const std::string& path, const ProfileValues& values,
                                                           std::string& problem);
  /// The same, but a profile with errors is a problem too.
  [[nodiscard]] static std::optional<ProfileDocument> readGood(const std::string& path, const ProfileValues& values,
                                                               std::string& problem);

  /// Line `line` without blanks around it and without the comment behind it, visible.
  [[nodiscard]] std::string statementAt(std::size_t line) const;
  /// "FILE:LINE", visible.
  [[nodiscard]] std::string placeOf(const ProfileLine& line) const;

  /// What the user calls it, visible.
  std::string name;
  std::string text;
  ProfileResult result;
};

}  // namespace vanto::tool

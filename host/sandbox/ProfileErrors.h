// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vanto {

/// Where something stands in a profile. Both count from 1; a column is a character, whatever its width.
struct ProfilePosition {
  std::size_t line = 1;
  std::size_t column = 1;
};

struct ProfileError {
  ProfilePosition position;
  /// What is wrong; what to do.
  std::string text;
};

/// The errors of one profile in the order in which they were found, of which only the first are kept.
class ProfileErrors {
 public:
  void add(ProfilePosition position, std::string text);

  /// The errors that are kept, at most limits::profileErrors.
  [[nodiscard]] const std::vector<ProfileError>& kept() const noexcept { return kept_; }
  /// How many were found.
  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  /// "NAME:LINE:COLUMN: what is wrong; what to do", followed by " (and N more)" where there are more; empty without
  /// errors. `name` is what the user calls the profile.
  [[nodiscard]] std::string summary(std::string_view name) const;

 private:
  std::vector<ProfileError> kept_;
  std::size_t count_ = 0;
};

/// "NAME:LINE:COLUMN: what is wrong; what to do".
[[nodiscard]] std::string lineOf(std::string_view name, const ProfileError& error);

}  // namespace vanto

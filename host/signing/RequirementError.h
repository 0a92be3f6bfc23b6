// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vanto {

/// Why a text is no requirement.
struct RequirementError {
  /// Where, both from 1; columns count bytes.
  std::size_t line = 0;
  std::size_t column = 0;
  /// What is wrong there.
  std::string problem;
  /// What to do about it.
  std::string remedy;

  /// An error at `offset` of `source`; lines end with a line feed.
  [[nodiscard]] static RequirementError at(std::string_view source, std::size_t offset, std::string problem,
                                           std::string remedy);

  /// "column 12 (line 1): problem; remedy"
  [[nodiscard]] std::string text() const;
};

}  // namespace vanto
